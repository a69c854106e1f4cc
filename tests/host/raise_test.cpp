// A raise from inside a kernel becomes the error of one statement. The tests reach into the table for a stream that
// can't be decoded.
#include "database.h"
#include "sqlite/virtual_table.h"

#include <cstring>
#include <gtest/gtest.h>

namespace {

using SharedRegistry = std::shared_ptr<qvk::Registry>;

bool stream_is_bad;

// Decodes what was never compressed, or fails half-way.
uint32_t copy_or_fail(kdzk_ypak_ctx *, const void *source, void *buffer, uint32_t *produced, uint32_t limit) {
    *produced = stream_is_bad ? limit / 2 : limit;
    std::memset(buffer, 0, limit);
    std::memcpy(buffer, source, *produced);
    return stream_is_bad ? KDZK_STATUS_REFUSED : KDZK_STATUS_OK;
}

void mark_compressed(qvk::Table &table) {
    table.ypak_decode = copy_or_fail;
    for (size_t at = 0; at < table.segment_count(); ++at) {
        table.columns[0].encoding->segment(at)->encoding.flags = KDZK_ENC_YPAK;
    }
}

TEST(Raise, BecomesAnErrorOfTheStatementAndTheConnectionGoesOn) {
    Database db(":memory:", Extension::linked);
    const SharedRegistry registry = std::make_shared<qvk::Registry>();
    sqlite3_create_module_v2(db.handle, "qvk", &qvk::kTableModule, new SharedRegistry(registry),
                             [](void *aux) { delete static_cast<SharedRegistry *>(aux); });
    ASSERT_EQ(db.run("CREATE TABLE t(a TEXT); WITH RECURSIVE n(i) AS (SELECT 0 UNION ALL SELECT i + 1 FROM n WHERE "
                     "i < 299) INSERT INTO t SELECT 'v' || (i % 3) FROM n; CREATE VIRTUAL TABLE q USING qvk(t, "
                     "segment_rows=128)"),
              "");
    mark_compressed(registry->tables.at(0)->table);

    const std::string query = "SELECT count(*) FROM q WHERE a = 'v2'";
    stream_is_bad = true;
    for (int twice = 0; twice < 2; ++twice) {
        EXPECT_EQ(db.run(query), "qvk: kdzk_eq_dict_2bit: kdzk_ypak_decode failed");
        EXPECT_EQ(db.ask("SELECT count(*) FROM t"), "300\n");
    }
    stream_is_bad = false;
    EXPECT_EQ(db.ask(query), "100\n");
    stream_is_bad = true;  // the payloads are ready, so no kernel decodes again
    EXPECT_EQ(db.ask(query), "100\n");
}

}  // namespace
