// Random conjunctions, lists, ranges and joins, answered by a plain table and by the virtual table over it. Values come
// as literals, parameters, expressions and columns, since SQLite converts each of them in its own way.
#include "database.h"
#include "random_queries.h"

#include <iterator>
#include <set>
#include <sstream>

namespace {

// By turns the table as it is, and its compressed twin with a memory limit that it exceeds.
std::string twin_of(const std::string &table, int round) { return table + (round % 2 ? "_compressed" : ""); }

TEST_F(RandomQueries, AgreeOverFlights) {
    ASSERT_EQ(flights().run("DROP TABLE IF EXISTS f_compressed; CREATE VIRTUAL TABLE temp.f_compressed USING "
                            "qvk(plain, compress=yes, memory_limit=300 K)"),
              "");
    const Columns columns = {
        {"origin", {"'SEA'", "'ATL'", "'LAX'", "'ORD'", "''", "'ZZZ'", "'Sea'", "5", "NULL", "x'534541'"}},
        {"destination", {"'SFO'", "'JFK'", "'A'", "'DEN'", "'MQT'"}},
        {"date", {"'2001-01-01'", "'2001-03-31'", "'2001-06-30'", "'2001-02'", "2001"}},
        {"month", {"1", "2", "3", "6", "7", "'4'", "2.5", "'May'", "-1", "NULL", "3.0"}},
        {"state", {"'WA'", "'CA'", "'NY'", "'NA'", "NULL"}},
        {"delay", {"0", "15", "60", "-10", "'120'"}},
        {"distance", {"500", "2176", "1000.5"}}};
    for (int round = 0; round < 100; ++round) {
        const Query query = random_query(dice, columns, 2, false);
        expect_same_rows(flights(), "SELECT rowid, delay, origin, month FROM $T WHERE " + query.where, "plain",
                         twin_of("f", round), query.parameters);
        ASSERT_FALSE(HasFailure());
    }
}

// Texts of one length, so that many distinct ones still pay for a dictionary.
std::string numbered(int number) {
    char text[32];
    std::snprintf(text, sizeof text, "'v%019d'", number);
    return text;
}

// For each number of distinct values, NULL among them or not, a column; full dictionaries at each width up to 12 bits.
const std::vector<int> kSizes = {1, 2, 3, 4, 5, 8, 9, 16, 32, 64, 128, 256, 257, 512, 1024, 2048, 4096, 4097};

std::string sized_columns() {
    std::string columns;
    for (const int size : kSizes) {
        const std::string n = std::to_string(size);
        const std::string value = "printf('v%019d', iif(i < " + n + ", i, (i * 2654435761 >> 7) % " + n + "))";
        columns += (columns.empty() ? "" : ", ") + value + " AS a" + n;
        columns += ", nullif(" + value + ", " + numbered(0) + ") AS n" + n;
    }
    return columns;
}

std::string kernels_run(Database &db, const std::string &table) {
    return db.ask("SELECT kernel FROM qvk_last_run('" + table + "') WHERE batches = 0");
}

// Every other value of many: no two of their codes make one run.
std::string every_other() {
    std::string list = numbered(0);
    for (int number = 2; number < 40; number += 2) {
        list += ", " + numbered(number);
    }
    return "(" + list + ")";
}

TEST_F(RandomQueries, AgreeAtEveryWidth) {
    Database db;
    ASSERT_EQ(
        db.run("CREATE TABLE t AS WITH RECURSIVE n(i) AS (SELECT 0 UNION ALL SELECT i + 1 FROM n WHERE i < 12000)"
               "SELECT "
               + sized_columns()
               + " FROM n; CREATE VIRTUAL TABLE q USING qvk(t, segment_rows = 4096);"
                 "CREATE VIRTUAL TABLE q_compressed USING qvk(t, segment_rows=4096, compress=yes, memory_limit=16 K)"),
        "");
    std::string expected;
    Columns columns;
    for (const int size : kSizes) {
        const std::string n = std::to_string(size);
        const std::string width = std::to_string(std::max(1, 32 - __builtin_clz(static_cast<unsigned>(size - 1) | 1)));
        std::vector<std::string> values = {"'a'",
                                           "'z'",
                                           "NULL",
                                           numbered(0),
                                           numbered(1),
                                           numbered(size / 3),
                                           numbered(size / 2),
                                           numbered(size - 2),
                                           numbered(size - 1),
                                           numbered(size)};
        for (int part = 1; part < 60; ++part) {
            values.push_back(numbered(size * part / 60));
        }
        for (const std::string letter : {"a", "n"}) {
            expected += letter + n + '|' + width + '|' + n + '\n';
            columns.emplace_back(letter + n, values);
            const std::string column = letter + n;
            EXPECT_EQ(db.ask("SELECT value, count FROM qvk_count_by('q_compressed', '" + column + "')"),
                      db.ask("SELECT " + column + ", count(*) FROM t GROUP BY 1"));
            for (const std::string asked : {"q", "q_compressed"}) {
                expect_same_rows(db, "SELECT rowid FROM $T WHERE " + column + " IN " + every_other(), "t", asked);
                EXPECT_TRUE(size < 8 || kernels_run(db, asked) == "kdzk_set_dict_" + width + "bit\n") << column;
            }
        }
    }
    EXPECT_EQ(db.ask("SELECT name, width, distinct_values FROM qvk_stats('q')"), expected);
    std::string selected;
    for (int round = 0; round < 400; ++round) {
        const Query query = random_query(dice, columns, 1, false);
        const std::string few = round / 2 % 2 ? " AND a512 = " + numbered(static_cast<int>(dice.below(512))) : "";
        const std::string asked = twin_of("q", round);
        expect_same_rows(db, "SELECT rowid, a4097, n2 FROM $T WHERE " + query.where + few, "t", asked,
                         query.parameters);
        selected += db.ask("SELECT name FROM qvk_last_run('" + asked + "') WHERE selections > 0");
        ASSERT_FALSE(HasFailure());
    }
    std::istringstream names(selected);
    const std::set<std::string> distinct{std::istream_iterator<std::string>(names), {}};
    EXPECT_GT(distinct.size(), columns.size() / 2) << "columns whose kernels ran over a selection";
}

// Runs of one row to several hundred, across segments.
TEST_F(RandomQueries, AgreeOverRuns) {
    Database db;
    std::string rows = "INSERT INTO t VALUES";
    for (size_t row = 0, left[2] = {}, at[2] = {}; row < 9000; ++row) {
        for (size_t column = 0; column < 2; ++column) {
            if (left[column]-- == 0) {
                left[column] = dice.below(dice.below(4) ? 400 : 3);
                at[column] = dice.below(column == 0 ? 3 : 300);
            }
        }
        rows += (row == 0 ? "(" : ", (") + std::to_string(at[0]) + ", nullif(" + std::to_string(at[1]) + ", 7), "
                + std::to_string(dice.below(900)) + ")";
    }
    ASSERT_EQ(
        db.run("CREATE TABLE t(few, many INT, id INT);" + rows
               + ";CREATE VIRTUAL TABLE q USING qvk(t, segment_rows=1024);"
                 "CREATE VIRTUAL TABLE q_compressed USING qvk(t, segment_rows=1024, compress=yes, encoding_id=rle,"
                 "memory_limit=1 K)"),
        "");
    EXPECT_EQ(db.ask("SELECT encoding FROM qvk_stats('q')"), "rle\nrle\nfixed\n");
    for (const std::string column : {"few", "many", "id"}) {
        EXPECT_EQ(db.ask("SELECT value, count FROM qvk_count_by('q_compressed', '" + column + "')"),
                  db.ask("SELECT " + column + ", count(*) FROM t GROUP BY 1"));
    }
    std::vector<std::string> numbers = {"NULL", "0", "1", "2", "7", "'2'", "1.5"};
    for (int number = 10; number < 300; number += 9) {
        numbers.push_back(std::to_string(number));
    }
    for (int round = 0; round < 300; ++round) {
        const Query query = random_query(dice, {{"few", numbers}, {"many", numbers}, {"id", numbers}}, 1, false);
        expect_same_rows(db, "SELECT rowid, * FROM $T WHERE " + query.where, "t", twin_of("q", round),
                         query.parameters);
        ASSERT_FALSE(HasFailure());
    }
    expect_same_rows(db, "SELECT rowid FROM $T WHERE few = 1 AND many > 70", "t", "q");
    EXPECT_EQ(db.ask("SELECT name, full_scans > 0 FROM qvk_last_run('q') WHERE kernel = 'kdzk_burst_rle_16bit_cla'"),
              "few|1\nmany|1\n");
}

// Columns of every affinity and a collation, and values that the affinities treat differently.
// clang-format off
const std::vector<std::string> kValues = {
    "NULL", "0", "1", "-1", "5", "5.0", "5.5", "'5'", "'5.0'", "' 5'", "'05'", "'abc'", "'ABC'", "'abd '", "''",
    "'+x'", "x'35'", "x''", "x'616263'", "9223372036854775807", "9223372036854775808.0", "-9223372036854775808",
    "1e300", "'9223372036854775808'", "-0.0", "0.0", "'1e1'", "10", "'z'", "9007199254740993",
    "9007199254740992.0"};
// clang-format on
const std::vector<std::string> kColumns = {"i", "t", "n", "r", "nocase", "num", "plainly", "part"};

void fill_mixed(Database &db, Dice &dice, const std::string &table, int rows) {
    db.run("CREATE TABLE " + table
           + "(id INTEGER PRIMARY KEY, i INTEGER, t TEXT, n, r REAL, nocase TEXT COLLATE NOCASE,"
             " num NUMERIC, plainly VARCHAR(9), part BLOB)");
    for (int row = 0; row < rows; ++row) {
        std::string values = "NULL";
        for (size_t column = 0; column < kColumns.size(); ++column) {
            // The last two hold only texts that don't look like numbers, and only numbers.
            const std::string value = column == 6   ? "'v" + std::to_string(dice.below(9)) + "'"
                                      : column == 7 ? std::to_string(dice.below(9))
                                                    : dice.pick(kValues);
            values += ", " + value;
        }
        ASSERT_EQ(db.run("INSERT INTO " + table + " VALUES(" + values + ")"), "");
    }
}

// The right-hand sides that no value pool holds: expressions of each affinity, and the column itself.
std::vector<std::string> with_expressions(std::vector<std::string> values) {
    for (const std::string text : {"CAST('5' AS INTEGER)", "CAST(5 AS TEXT)", "CAST('abc' AS BLOB)", "abs(-5)", "1 + 4",
                                   "'5' || ''", "n", "i", "+t", "'v3'", "'v5'", "CAST('5.0' AS NUMERIC)"}) {
        values.push_back(text);
    }
    return values;
}

TEST_F(RandomQueries, AgreeOverMixedTypes) {
    Database db;
    fill_mixed(db, dice, "m", 200);
    fill_mixed(db, dice, "u", 30);
    ASSERT_EQ(db.run("CREATE VIRTUAL TABLE q USING qvk(m, segment_rows=128); CREATE VIRTUAL TABLE w USING qvk(u);"
                     "CREATE VIEW e AS SELECT i FROM u UNION ALL SELECT t FROM u"),
              "");
    std::string plainly = "CREATE VIRTUAL TABLE p USING qvk(m, segment_rows=128";
    for (const std::string &column : kColumns) {
        plainly += ", encoding_" + column + "=plain";
    }
    ASSERT_EQ(db.run(plainly + ")"), "");
    Columns columns;
    for (const std::string &column : kColumns) {
        columns.emplace_back("$T." + column, kValues);
    }
    for (int round = 0; round < 600; ++round) {
        const Query query = random_query(dice, columns, 1, true);
        expect_same_rows(db, "SELECT * FROM $T WHERE " + query.where, "m", round % 2 ? "q" : "p", query.parameters);
    }
    const std::vector<std::string> expressions = with_expressions(kValues);
    const std::vector<std::string> operators = {" = ", " <> ", " < ", " >= ", " IS ", " = +"};
    for (int round = 0; round < 300; ++round) {
        const std::string left = "$T." + dice.pick(kColumns), operation = dice.pick(operators);
        const std::string test = left + operation;
        expect_same_rows(db, "SELECT id FROM $T WHERE " + test + dice.pick(expressions), "m", "q");
        for (const std::string asked : {"q", "p"}) {
            expect_same_rows(db, "SELECT id FROM $T WHERE " + left + " IN (SELECT " + dice.pick(kColumns) + " FROM u)",
                             "m", asked);
        }
        const std::string other = dice.below(8) ? "u." + dice.pick(kColumns) : "u.i";
        for (const std::string join : {" JOIN ", " LEFT JOIN "}) {
            expect_same_rows(db, "SELECT $T.id, u.id FROM u" + join + "$T ON " + test + other + " ORDER BY 1, 2", "m",
                             "q");
        }
        const std::string outer = "SELECT u.id, $T.id FROM u LEFT JOIN $T ON $T.id = u.id + 9 AND " + test + "5 WHERE ";
        expect_same_rows(db, outer + left + " IS NULL ORDER BY 1, 2", "m", "q");
        expect_same_rows(db, outer + left + dice.pick(operators) + dice.pick(kValues) + " ORDER BY 1, 2", "m", "q");
        expect_same_rows(db, "SELECT $T.id, e.i FROM e JOIN $T ON " + test + "e.i ORDER BY 1, 2, typeof(e.i)", "m",
                         "q");
        const std::string both = "SELECT q.id, $T.id FROM q JOIN $T ON q." + dice.pick(kColumns) + operation + "$T.";
        expect_same_rows(db, both + dice.pick(kColumns) + " ORDER BY 1, 2", "u", "w");
        ASSERT_FALSE(HasFailure());
    }
}

}  // namespace
