// Payloads stored compressed: what is kept, how long decoded payloads stay, and decoders that fail. The tests reach
// into the tables.
#include "database.h"
#include "sqlite/virtual_table.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace {

using SharedRegistry = std::shared_ptr<qvk::Registry>;

constexpr uint64_t kSegmentPayload = 4096 + KDZK_DICT_SLACK_BYTES;  // at 8 bits

// Four segments of three columns, each of 200 values: constant in the first two segments, in runs, at random.
struct CompressedTable {
    const SharedRegistry registry = std::make_shared<qvk::Registry>();
    Database db{":memory:", Extension::linked};

    explicit CompressedTable(const std::string &memory_limit) {
        for (const auto &[name, module] :
             {std::pair("qvk", &qvk::kTableModule), std::pair("qvk_stats", &qvk::kStatsModule)}) {
            sqlite3_create_module_v2(db.handle, name, module, new SharedRegistry(registry),
                                     [](void *aux) { delete static_cast<SharedRegistry *>(aux); });
        }
        EXPECT_EQ(db.run("CREATE TABLE t AS WITH RECURSIVE n(i) AS (SELECT 0 UNION ALL SELECT i + 1 FROM n WHERE i < "
                         "16383), r AS (SELECT i, abs(random() % 200) AS random FROM n) SELECT iif(i < 8192, 0, "
                         "random) AS mixed, i / 64 % 200 AS runs, random FROM r;"
                         "CREATE VIRTUAL TABLE q USING qvk(t, segment_rows=4096, compress=yes, encoding_mixed=dict, "
                         "encoding_runs=dict, memory_limit="
                         + memory_limit + ")"),
                  "");
    }
    qvk::Table &table() { return registry->tables.at(0)->table; }
    qvk::HostServices &services() { return *table().services; }
};

std::string compressed_segments(const qvk::Encoding &encoding) {
    std::string text;
    for (const auto &segment : encoding.segments()) {
        text += segment->is_compressed() ? 'c' : '-';
    }
    return text;
}

TEST(Compression, IsKeptWhereItPays) {
    CompressedTable made("1048576");
    EXPECT_EQ(compressed_segments(*made.table().columns[0].encoding), "cc--");
    EXPECT_EQ(compressed_segments(*made.table().columns[1].encoding), "cccc");
    EXPECT_EQ(compressed_segments(*made.table().columns[2].encoding), "----");
    made.db.ask("SELECT mixed FROM q LIMIT 1");
    EXPECT_EQ(made.db.ask("SELECT name, payload_bytes, stored_payload_bytes < payload_bytes * 7 / 8, decoded_bytes, "
                          "bytes - stored_payload_bytes = 200 * "
                          + std::to_string(sizeof(qvk::Value)) + " FROM qvk_stats('q')"),
              "mixed|16416|1|4104|1\nruns|16416|1|0|1\nrandom|16416|0|0|1\n");
}

TEST(DecodedPayloads, PushOutTheOneUsedLongestAgo) {
    qvk::Segment segments[5];
    qvk::DecodedPayloads decoded(300);
    for (qvk::Segment &segment : segments) {
        segment.stored.resize(&segment == &segments[4] ? 301 : 100);
        segment.seal(1, 8);
        decoded.add(segment);
    }
    const auto held = [&] {
        std::string text;
        for (const qvk::Segment &segment : segments) {
            text += segment.decompressed ? 'x' : '-';
        }
        return text + ' ' + std::to_string(decoded.bytes());
    };
    for (const size_t at : {0u, 1u, 2u}) {
        decoded.allocate(segments[at]);
    }
    decoded.use(segments[0]);
    decoded.use(segments[3]);  // not decoded
    decoded.allocate(segments[3]);
    EXPECT_EQ(held(), "x-xx- 300");
    decoded.drop(segments[3]);
    decoded.allocate(segments[1]);
    EXPECT_EQ(held(), "xxx-- 300");
    decoded.allocate(segments[3]);
    EXPECT_EQ(held(), "xx-x- 300");
    decoded.allocate(segments[4]);
    EXPECT_EQ(held(), "----x 301");
    decoded.allocate(segments[2]);
    EXPECT_EQ(held(), "--x-- 100");
}

kdzk_ypak_decode_fn library_decode;
const qvk::DecodedPayloads *watched;
uint64_t decodings, most_decoded;

// The library's decoder, watched.
uint32_t count_and_decode(kdzk_ypak_ctx *context, const void *stream, void *buffer, uint32_t *produced,
                          uint32_t limit) {
    ++decodings;
    most_decoded = std::max(most_decoded, watched->bytes());
    return library_decode(context, stream, buffer, produced, limit);
}

TEST(DecodedPayloads, StayWithinTheLimitUnderKernelsAndRows) {
    // The runs that are asked for lie in the first and the last segment; mixed is compressed in the first two.
    const std::string few = "SELECT mixed, runs, rowid FROM $T WHERE mixed < 150 AND runs BETWEEN 3 AND 5";
    const std::string all = "SELECT * FROM $T WHERE rowid % 97 = 0";
    for (const auto &[limit, segments] : {std::pair("1048576", 6u), std::pair("12312", 3u), std::pair("0", 1u)}) {
        CompressedTable made(limit);
        watched = &made.services().decoded;
        library_decode = std::exchange(made.services().entries.ypak_decode, count_and_decode);
        decodings = most_decoded = 0;
        EXPECT_GT(expect_same_rows(made.db, few, "t", "q"), 0u);
        EXPECT_TRUE(segments == 1 || decodings == 5) << decodings;
        expect_same_rows(made.db, all, "t", "q");
        EXPECT_EQ(most_decoded, segments * kSegmentPayload);
        decodings = 0;
        expect_same_rows(made.db, few, "t", "q");
        EXPECT_EQ(decodings == 0, segments == 6);
    }
}

// A payload that a kernel or a row uses again stays longer than one that was decoded after it.
TEST(DecodedPayloads, ThatAreUsedAgainStayLonger) {
    // Values 0 to 63 of runs lie in the first segment, and so on; a query that is content with one row looks no
    // further.
    const std::string by_row[] = {"SELECT runs FROM q WHERE rowid = 1", "SELECT runs FROM q WHERE rowid = 4097",
                                  "SELECT runs FROM q WHERE rowid = 8193"};
    const std::string by_kernel = "SELECT count(*) FROM (SELECT 1 FROM q WHERE runs = 5 LIMIT 1)";
    for (const std::string &again : {by_row[0], by_kernel}) {
        CompressedTable made(std::to_string(2 * kSegmentPayload));
        watched = &made.services().decoded;
        library_decode = std::exchange(made.services().entries.ypak_decode, count_and_decode);
        decodings = 0;
        for (const std::string &query : {by_row[0], by_row[1], again, by_row[2], again}) {
            made.db.ask(query);
        }
        EXPECT_EQ(decodings, 3u) << again;
    }
}

// Fails half-way, with a scratch array in its hands.
uint32_t raise_half_way(kdzk_ypak_ctx *context, const void *, void *buffer, uint32_t *, uint32_t limit) {
    std::fill_n(static_cast<char *>(buffer), limit / 2, 'x');
    uint64_t cookie = 0;
    context->stream_alloc(context->env, 100, "array", 8, 0, &cookie);
    host_raise_internal_error(context->env, context->env->err_handle, "raised by the decoder", 0);
    return KDZK_STATUS_OK;
}

uint32_t refuse(kdzk_ypak_ctx *, const void *, void *, uint32_t *, uint32_t) { return KDZK_STATUS_REFUSED; }

// Rows of a dictionary's column are read by a kernel too, others by the host itself.
TEST(Raise, BecomesAnErrorOfTheStatementAndTheConnectionGoesOn) {
    const std::string by_kernel = "SELECT count(*) FROM q WHERE runs = 7", by_row = "SELECT sum(runs) FROM q";
    for (const auto &[encoding, in_kernel, in_row] :
         {std::tuple("dict", "qvk: kdzk_eq_dict_8bit: kdzk_ypak_decode failed",
                     "qvk: kdzk_decode_unpack_dict_8bit: kdzk_ypak_decode failed"),
          std::tuple("fixed", "qvk: kdzk_eq_fixed_8bit: kdzk_ypak_decode failed",
                     "qvk: rows of a segment: decoding failed")}) {
        CompressedTable made(std::string("1048576, encoding_runs=") + encoding);
        kdzk_ypak_decode_fn &decoder = made.services().entries.ypak_decode;
        const kdzk_ypak_decode_fn works = decoder;
        for (const bool refused : {true, false, true}) {
            decoder = refused ? refuse : raise_half_way;
            EXPECT_EQ(made.db.run(by_kernel), refused ? in_kernel : "qvk: raised by the decoder");
            EXPECT_EQ(made.db.run(by_row), refused ? in_row : "qvk: raised by the decoder");
            EXPECT_EQ(made.services().decoded.bytes(), 0u);
            EXPECT_EQ(made.services().target.scratch, nullptr);
        }
        decoder = works;
        EXPECT_EQ(made.db.ask(by_kernel), "128\n");
        EXPECT_EQ(made.db.ask(by_row), made.db.ask("SELECT sum(runs) FROM t"));
        decoder = refuse;  // the payloads are ready, so nothing decodes again
        EXPECT_EQ(made.db.ask(by_kernel), "128\n");
    }
}

TEST(Options, OfCompressionAreReadOrRefused) {
    Database db;
    db.run("CREATE TABLE t(a)");
    const auto make = [&](const std::string &options) {
        return db.run("DROP TABLE IF EXISTS q; CREATE VIRTUAL TABLE q USING qvk(t, " + options + ")");
    };
    for (const std::string good : {"'64M'", "0", " 1 G ", "17", "\"16777215 G\""}) {
        EXPECT_EQ(make("memory_limit=" + good + ", compress = yes"), "");
    }
    for (const std::string bad : {"x", "", "-1", "1 T", "1.5", "64 M M", "18446744073709551616", "17179869184 G"}) {
        EXPECT_EQ(make("compress=yes, memory_limit=" + bad),
                  "qvk: memory_limit has to be a number of bytes, or of K, M or G, not " + bad);
    }
    EXPECT_EQ(make("compress=maybe"), "qvk: compress has to be yes or no, not maybe");
    EXPECT_EQ(make("memory_limit=1"), "qvk: memory_limit needs compress=yes");
    EXPECT_EQ(make("compress=no, memory_limit=1"), "qvk: memory_limit needs compress=yes");
}

}  // namespace
