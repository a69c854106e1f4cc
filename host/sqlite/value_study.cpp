// Finding values that SQLite wouldn't compare as they stand.
#include "value_study.h"

#include <algorithm>
#include <cstring>
#include <unordered_set>

namespace qvk {
namespace {

// The text as a comparison under numeric affinity sees it, by SQLite's own conversion. carrier: SELECT ?1.
Value numeric_form_of(sqlite3 *db, const Statement &carrier, const std::string &text) {
    sqlite3_reset(carrier.get());
    sqlite3_bind_text64(carrier.get(), 1, text.data(), text.size(), SQLITE_STATIC, SQLITE_UTF8);
    step(db, carrier);
    return numeric_form(sqlite3_column_value(carrier.get(), 0));
}

// Cheaper than asking SQLite, which takes no other first character.
bool may_be_number(std::string_view text) {
    const size_t first = text.find_first_not_of(" \t\n\v\f\r");
    return first != text.npos && std::strchr("+-.0123456789", text[first]) != nullptr;
}

// Finds what would make a comparison of stored values differ from SQLite's, value by value.
struct ValueStudy {
    sqlite3 *db;
    ColumnShape &shape;
    size_t most_twins;
    Statement carrier = prepare(db, "SELECT ?1");
    std::unordered_set<std::string> known = {};  // texts of twins

    void add(const ValueView &value);
    void finish();

  private:
    void add_text(const ValueView &value);
};

void ValueStudy::add(const ValueView &value) {
    if (is_number(value) && shape.affinity == Affinity::text) {
        shape.as_stored = false;
    }
    if (value.type == Type::text) {
        shape.has_texts = true;
        if (shape.has_all_twins && may_be_number(value.bytes)) {
            add_text(value);
        }
    }
}

void ValueStudy::add_text(const ValueView &value) {
    Value number = numeric_form_of(db, carrier, std::string(value.bytes));
    if (!is_number(number.view())) {
        return;
    }
    shape.as_stored = shape.as_stored && shape.affinity <= Affinity::text;
    if (known.emplace(value.bytes).second) {
        shape.twins.push_back({Value(value), std::move(number)});
        shape.has_all_twins = shape.twins.size() <= most_twins;
    }
}

void ValueStudy::finish() {
    if (!shape.has_all_twins) {
        shape.twins = {};
    }
    std::sort(shape.twins.begin(), shape.twins.end(),
              [](const NumericTwin &a, const NumericTwin &b) { return compare(a.number.view(), b.number.view()) < 0; });
}

}  // namespace

void study_values(sqlite3 *db, const Table &table, size_t column, ColumnShape &shape) {
    // Beside a dictionary they are no burden; beside rows of a few bytes they could be most of a column.
    constexpr size_t kMostTwins = 1u << 16;
    const Dictionary *dictionary = table.columns[column].encoding->dictionary();
    ValueStudy study{db, shape, dictionary ? SIZE_MAX : kMostTwins};
    shape.has_texts = false;
    for (size_t at = 0; dictionary && at < dictionary->values.size(); ++at) {
        study.add(dictionary->values[at].view());
    }
    for (size_t segment = 0; !dictionary && segment < table.segment_count(); ++segment) {
        for (uint32_t row = 0; row < table.rows_in_segment(segment); ++row) {
            study.add(table.value(column, segment, row));
        }
    }
    study.finish();
}

}  // namespace qvk
