// Decoding values by a list of rows or by slices of a selection.
#include "value_batches.h"
#include "decode_run.h"

namespace qvk {
namespace {

// Slices look at all rows from the first to the last, a list at its own only, but at three times the cost. Measured:
// see host/README.md.
bool slices_pay(const RowBatch &batch) {
    constexpr size_t kRowsForOneListed = 3;
    return batch.rows.back() - batch.rows.front() < kRowsForOneListed * batch.rows.size();
}

}  // namespace

ValueView ValueBatches::first_value(uint32_t column, size_t place) {
    const Encoding &encoding = *table.columns[column].encoding;
    if (!encoding.dictionary() || !encoding.dictionary()->has_symbols()) {
        return encoding.value(batch.segment, batch.rows[place], *table.services);
    }
    ColumnBatch &decoded = columns[column];
    decoded.values.resize(kBatchRows);
    decode(column, decoded);
    decoded.number = number;
    return decoded.values[place]->view();
}

void ValueBatches::decode(uint32_t column, ColumnBatch &into) {
    const Encoding &encoding = *table.columns[column].encoding;
    Segment &segment = *encoding.segments()[batch.segment];
    const auto prepare = [&](uint32_t operation) {
        ++runs.of(column, {*encoding.kernels(), operation}).batches;
        return prepare_decode(table, *encoding.kernels(), operation);
    };
    const auto deliver_to = [&](kdzk_vec &destination) {
        destination.data = into.values.data();
        destination.lens = lengths.data();
        destination.row_flags = flags.data();
    };
    const uint32_t count = static_cast<uint32_t>(batch.rows.size());
    const bool has_runs = !segment.runs.starts.empty();
    if (has_runs) {
        segment.runs.find(batch.rows, runs_of_rows.data());
    }
    if (has_runs || !slices_pay(batch)) {
        DecodeRun list = prepare(KDZK_OP_DECODE);
        deliver_to(list.destination);
        list.context.row_list = has_runs ? runs_of_rows.data() : batch.rows.data();
        list.context.row_list_len = count;
        run_over(segment, *table.services, list);
        return;
    }
    DecodeRun unpack = prepare(KDZK_OP_DECODE_UNPACK);
    unpack.destination.data = codes.data();
    unpack.destination.row_count = count;
    unpack.context.sel_bv = batch.selected;
    unpack.context.row_pos = batch.rows.front();
    run_over(segment, *table.services, unpack);

    // What the first kernel wrote is what the second one reads.
    DecodeRun symbols = prepare(KDZK_OP_DECODE_SYMBOL);
    deliver_to(symbols.destination);
    unpack.destination.enc_ctx = &segment.encoding;
    symbols.kernel(&symbols.destination, &unpack.destination, &symbols.context);
}

}  // namespace qvk
