// The extension's own behaviour: plans, statistics, reopening, bad input.
#include "database.h"

#include <cstdio>
#include <gtest/gtest.h>

namespace {

std::string plan_of(Database &db, const std::string &query) { return db.ask("EXPLAIN QUERY PLAN " + query); }

void expect_in(const std::string &text, const std::string &part) {
    EXPECT_NE(text.find(part), text.npos) << part << " in " << text;
}

TEST(Plan, NamesKernels) {
    const std::string plan = plan_of(flights(), "SELECT * FROM f WHERE origin = 'SEA' AND month BETWEEN 2 AND 4 AND "
                                                "state <> 'WA' AND delay > 30");
    expect_in(plan, "origin dict 8-bit: kdzk_eq_dict_8bit");
    expect_in(plan, "month rle 3-bit: kdzk_ge_le_dict_3bit, kdzk_burst_rle_16bit_cla;");
    expect_in(plan, "state dict 6-bit: kdzk_ne_dict_6bit_null;");
    expect_in(plan, "delay dict 10-bit: kdzk_ge_dict_10bit");
}

TEST(Plan, NamesSetKernels) {
    expect_in(plan_of(flights(), "SELECT * FROM f WHERE origin IN ('SEA', 'LAX') AND month IN (2, 4)"),
              "origin dict 8-bit: kdzk_eq_dict_8bit or kdzk_set_dict_8bit; "
              "month rle 3-bit: kdzk_eq_dict_3bit or kdzk_set_dict_3bit, kdzk_burst_rle_16bit_cla");
    expect_in(plan_of(flights(), "SELECT * FROM f WHERE state LIKE '%A'"), "state dict 6-bit: kdzk_set_dict_6bit");
    expect_in(plan_of(flights(), "SELECT * FROM f WHERE origin GLOB '*A*'"), "origin dict 8-bit: kdzk_set_dict_8bit");
}

TEST(Plan, KeepsTheVirtualTableOutOfAnInnerLoopThatAnIndexServes) {
    const std::string plan = plan_of(flights(), "SELECT count(*) FROM f JOIN airports a ON a.iata = f.origin");
    EXPECT_LT(plan.find("SCAN f"), plan.find("SEARCH a USING")) << plan;
}

TEST(Stats, TellEncodingAndSize) {
    const std::string rows = flights().ask("SELECT name, encoding, width, distinct_values FROM qvk_stats('f')");
    expect_in(rows, "origin|dict|8|228\n");
    expect_in(rows, "delay|dict|10|528\n");
    EXPECT_EQ(flights().ask("SELECT bytes BETWEEN 375000 AND 400000, source_bytes FROM qvk_stats('main.F') "
                            "WHERE name = 'origin'"),
              "1|1500000\n");
}

std::string last_run(Database &db, const std::string &query) {
    db.ask(query);
    return db.ask("SELECT name, encoding, kernel, full_scans, selections FROM qvk_last_run('f') WHERE batches = 0");
}

// The rarest column goes first; few survivors are looked at one by one, many in a full scan.
TEST(LastRun, TellsWhichBodyRan) {
    const std::string rare = last_run(flights(), "SELECT count(*) FROM f WHERE delay >= 30 AND origin = 'MQT'");
    expect_in(rare, "origin|dict|kdzk_eq_dict_8bit|6|0\ndelay|dict|kdzk_ge_dict_10bit|0|");
    EXPECT_EQ(last_run(flights(), "SELECT count(*) FROM f WHERE delay >= 0 AND origin <> 'MQT'"),
              "delay|dict|kdzk_ge_dict_10bit|6|0\norigin|dict|kdzk_ne_dict_8bit|6|0\n");
    EXPECT_EQ(last_run(flights(), "SELECT count(*) FROM f WHERE delay >= 0 AND origin = 'none'"), "");
}

TEST(LastRun, TellsSetKernels) {
    EXPECT_EQ(last_run(flights(), "SELECT count(*) FROM f WHERE state IN ('WA', 'CA', 'OR', 'TX', 'NY')"),
              "state|dict|kdzk_set_dict_6bit|6|0\n");
    expect_in(last_run(flights(), "SELECT count(*) FROM f WHERE origin LIKE '%a%' AND date = '2001-02-14'"),
              "origin|dict|kdzk_set_dict_8bit|0|");
}

// Rows far apart are read by a list, others by slices, always the right ones; single rows of a batch, too.
TEST(LastRun, TellsHowValuesWereDecoded) {
    const auto decoded = [](const std::string &where) {
        expect_same_rows(flights(), "SELECT state, delay FROM $T WHERE " + where, "flights_by_state", "f");
        return flights().ask("SELECT name || ' ' || kernel, batches > 0 FROM qvk_last_run('f') WHERE name = 'state'");
    };
    EXPECT_EQ(decoded("delay = 100"), "state kdzk_decode_dict_6bit|1\n");
    EXPECT_EQ(decoded("month = 1"), "state kdzk_decode_unpack_dict_6bit|1\nstate kdzk_decode_symbol_dict_6bit|1\n");
    expect_in(plan_of(flights(), "SELECT state FROM f"),
              "values of state: kdzk_decode or kdzk_decode_unpack, kdzk_decode_symbol");
}

// What SQLite's own function would find, whatever it does, and not what it usually finds.
TEST(Patterns, FollowTheFunctionInForce) {
    Database db;
    ASSERT_EQ(db.run("CREATE TABLE t(a); INSERT INTO t VALUES('abc'), ('ABC'), (12), (1.5), (x'6162'), (NULL), ('a%');"
                     "CREATE VIRTUAL TABLE q USING qvk(t)"),
              "");
    const auto expect_all_same = [&] {
        for (const std::string test : {"LIKE 'ab%'", "GLOB 'ab*'", "LIKE '1%'", "LIKE 12", "LIKE NULL", "LIKE x'6162'",
                                       "LIKE 'a\\%' ESCAPE '\\'", "NOT LIKE 'a%'", "LIKE a", "GLOB '[a-b]*'"}) {
            expect_same_rows(db, "SELECT rowid, a FROM $T WHERE a " + test, "t", "q");
        }
    };
    expect_all_same();
    ASSERT_EQ(db.run("PRAGMA case_sensitive_like = ON"), "");
    expect_all_same();
    sqlite3_create_function(
        db.handle, "like", 2, SQLITE_UTF8, nullptr,
        [](sqlite3_context *context, int, sqlite3_value **) { sqlite3_result_int(context, 1); }, nullptr, nullptr);
    expect_all_same();
    expect_in(plan_of(db, "SELECT * FROM q WHERE a LIKE 'ab%'"), "pattern left to SQLite");
}

// More than 256 values have to pay for their dictionary; else the smallest of the others is taken.
TEST(Choice, TakesWhatPays) {
    Database db;
    ASSERT_EQ(
        db.run(
            "CREATE TABLE t(once INT, often TEXT, far INT, some REAL, code TEXT, long TEXT); WITH RECURSIVE n(i)"
            "AS (SELECT 0 UNION ALL SELECT i + 1 FROM n WHERE i < 2999) INSERT INTO t SELECT i, 'often ' || (i % 300), "
            "i * 999, iif(i % 10, i, i / 7.1), 'c' || substr('0000' || i, -4), 'longer ' || i FROM n;"
            "CREATE VIRTUAL TABLE q USING qvk(t)"),
        "");
    EXPECT_EQ(db.ask("SELECT name, encoding, width, distinct_values, bytes / 3000 FROM qvk_stats('q')"),
              "once|fixed|16|NULL|4\noften|dict|9|300|7\nfar|fixed|24|NULL|5\nsome|dynp|64|NULL|6\n"
              "code|fixed|40|NULL|7\nlong|plain|NULL|NULL|23\n");
    const std::string plan =
        plan_of(db, "SELECT * FROM q WHERE once = 5 AND far < 7 AND some > 2 AND code IN ('c0007', "
                    "'c0009') AND long = 'x'");
    for (const std::string part : {"once fixed 16-bit: kdzk_eq_fixed_16bit", "far fixed 24-bit: kdzk_le_fixed_32bit",
                                   "some dynp 64-bit: kdzk_ge_dynp_64bit", "code fixed 40-bit: kdzk_eq_fixed_64bit",
                                   "long plain: left to SQLite"}) {
        expect_in(plan, part);
    }
    expect_same_rows(db, "SELECT * FROM $T WHERE once < 700 AND often > 290", "t", "q");
}

TEST(Tables, EmptyAndAllNullOnesWork) {
    Database db;
    ASSERT_EQ(db.run("CREATE TABLE t(a, b TEXT); CREATE VIRTUAL TABLE empty USING qvk(t);"
                     "INSERT INTO t VALUES(NULL, NULL), (NULL, NULL); CREATE VIRTUAL TABLE nulls USING qvk(t)"),
              "");
    EXPECT_EQ(db.ask("SELECT count(*) FROM empty WHERE a = 1 OR a IS NULL"), "0\n");
    EXPECT_EQ(db.ask("SELECT count(*) FROM nulls WHERE a IS NULL AND b IS NULL"), "2\n");
    EXPECT_EQ(db.ask("SELECT count(*) FROM nulls WHERE a < 5 OR b <> 'x' OR a IS NOT NULL"), "0\n");
    for (const std::string table : {"empty", "nulls"}) {
        EXPECT_EQ(db.ask("SELECT count(*) FROM " + table + " WHERE a LIKE '%' OR b IN (1, 3, 5, 7, 9)"), "0\n");
    }
    EXPECT_EQ(db.ask("SELECT * FROM qvk_count_by('empty', 'a')"), "");
    EXPECT_EQ(db.ask("SELECT value, count FROM qvk_count_by('nulls', 'B')"), "NULL|2\n");
    EXPECT_EQ(db.run("SELECT * FROM qvk_count_by('nulls', 'c')"), "qvk: no such column: c");
}

// A view's expressions compare by the affinity and collation that only SQLite knows.
TEST(Views, ComputedColumnsCompareAsInTheView) {
    Database db;
    ASSERT_EQ(db.run("CREATE TABLE t(a, any_type ANY); INSERT INTO t VALUES(5, '5'), ('5', 6), ('x', 'X');"
                     "CREATE VIEW v AS SELECT CAST(a AS TEXT) a, CAST(a AS INTEGER) b, a COLLATE NOCASE c, any_type d, "
                     "a IS NULL e FROM t; CREATE VIRTUAL TABLE q USING qvk(v)"),
              "");
    for (const std::string column : {"a", "b", "c", "d", "e"}) {
        for (const std::string value : {"5", "'5'", "'X'", "'x'", "0"}) {
            expect_same_rows(db, "SELECT * FROM $T WHERE " + column + " = " + value, "v", "q");
            expect_same_rows(db, "SELECT * FROM $T WHERE " + column + " >= " + value, "v", "q");
            expect_same_rows(db, "SELECT * FROM $T WHERE " + column + " <> " + value, "v", "q");
            expect_same_rows(db, "SELECT * FROM $T WHERE " + column + " <> " + value + " COLLATE NOCASE", "v", "q");
        }
    }
}

TEST(Reopening, EncodesTheSourceAgain) {
    const std::string path = testing::TempDir() + "qvk_reopen.db";
    std::remove(path.c_str());
    {
        Database db(path);
        ASSERT_EQ(
            db.run(
                "CREATE TABLE \"odd \"\"name\"(a TEXT, b INT); INSERT INTO \"odd \"\"name\" VALUES('x', 1);"
                "CREATE VIRTUAL TABLE q USING qvk(main.\"odd \"\"name\"); INSERT INTO \"odd \"\"name\" VALUES('y', 2)"),
            "");
        EXPECT_EQ(db.ask("SELECT * FROM q"), "x|1\n");
        ASSERT_EQ(db.run("ALTER TABLE q RENAME TO renamed"), "");
        EXPECT_EQ(db.ask("SELECT count(*) FROM renamed"), "2\n");
    }
    Database db(path);
    EXPECT_EQ(db.ask("SELECT count(*) FROM qvk_stats('renamed')"), "2\n");
    EXPECT_EQ(db.ask("SELECT * FROM renamed WHERE a = 'y'"), "y|2\n");
    ASSERT_EQ(db.run("DROP TABLE renamed; DROP TABLE \"odd \"\"name\""), "");
    std::remove(path.c_str());
}

TEST(BadInput, GivesOneErrorAndLeavesNothing) {
    Database db;
    ASSERT_EQ(db.run("CREATE TABLE t(a); CREATE VIEW broken AS SELECT * FROM gone"), "");
    const std::string before = db.ask("SELECT * FROM sqlite_master");
    const std::pair<std::string, std::string> cases[] = {
        {"CREATE VIRTUAL TABLE q USING qvk(missing)", "qvk: no such table: missing"},
        {"CREATE VIRTUAL TABLE q USING qvk(broken)", "qvk: no such table: main.gone"},
        {"CREATE VIRTUAL TABLE q USING qvk(q)", "qvk: vtable constructor called recursively: q"},
        {"CREATE VIRTUAL TABLE q USING qvk", "qvk: which table?"},
        {"CREATE VIRTUAL TABLE q USING qvk()", "qvk: which table?"},
        {"CREATE VIRTUAL TABLE q USING qvk(t; DROP TABLE t)", "qvk: not the name of a table: t; DROP TABLE t"},
        {"CREATE VIRTUAL TABLE q USING qvk(t, colour=red)", "qvk: unknown option: colour=red"},
        {"CREATE VIRTUAL TABLE q USING qvk(t, t)", "qvk: unknown option: t"},
        {"CREATE VIRTUAL TABLE q USING qvk(t, segment_rows=100)", "qvk: segment_rows has to be a multiple of 64"},
        {"SELECT * FROM qvk_stats('t')", "qvk: t is not a qvk table"},
        {"SELECT * FROM qvk_stats('gone')", "qvk: no such table: gone"},
        {"SELECT * FROM qvk_stats", "no query solution"},
        {"SELECT * FROM qvk_count_by('gone')", "no query solution"},
        {"CREATE VIRTUAL TABLE w USING qvk(t); INSERT INTO w VALUES(1)", "table w may not be modified"}};
    for (const auto &[sql, message] : cases) {
        EXPECT_EQ(db.run(sql).substr(0, message.size()), message) << sql;
        db.run("DROP TABLE IF EXISTS w");
        EXPECT_EQ(db.ask("SELECT * FROM sqlite_master"), before);
    }
    Database wide;
    ASSERT_EQ(wide.run("PRAGMA encoding = 'UTF-16'; CREATE TABLE t(a)"), "");
    EXPECT_EQ(wide.run("CREATE VIRTUAL TABLE q USING qvk(t)"), "qvk: the database has to be in UTF-8");
}

}  // namespace
