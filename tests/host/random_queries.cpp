// Making random tests.
#include "random_queries.h"

#include <cstdlib>

namespace {

// A value as the right-hand side of a comparison; a quarter of them go by parameter.
std::string operand(Dice &dice, const std::string &literal, Query &query) {
    if (dice.below(4) > 0) {
        return literal;
    }
    query.parameters += (query.parameters.empty() ? "" : ", ") + literal;
    return "?" + std::to_string(++query.parameter_count);
}

std::string list(Dice &dice, const std::vector<std::string> &values, Query &query) {
    std::string text = operand(dice, dice.pick(values), query);
    for (size_t more = dice.below(dice.below(3) ? 6 : 60); more > 0; --more) {
        text += ", " + operand(dice, dice.pick(values), query);
    }
    return "(" + text + ")";
}

// A text's beginning or end with the wildcard for the rest, or one letter less.
std::string pattern(Dice &dice, const std::string &literal, bool glob) {
    if (literal[0] != '\'') {
        return literal;
    }
    const std::string wildcard = glob ? (dice.below(3) ? "*" : "?") : (dice.below(3) ? "%" : "_");
    const size_t cut = 1 + dice.below(literal.size() - 1);
    return dice.below(2) ? literal.substr(0, cut) + wildcard + "'" : "'" + wildcard + literal.substr(cut);
}

std::string term(Dice &dice, const std::string &column, const std::vector<std::string> &values, Query &query) {
    static const std::vector<std::string> kOperators = {" = ",  " <> ", " < ",  " <= ",    " > ",
                                                        " >= ", " = ",  " IS ", " IS NOT "};
    switch (dice.below(9)) {
    case 0:
        return column + (dice.below(2) ? " IN " : " NOT IN ") + list(dice, values, query);
    case 1:
        return column + " BETWEEN " + operand(dice, dice.pick(values), query) + " AND "
               + operand(dice, dice.pick(values), query);
    case 2:
        return column + (dice.below(2) ? " IS NULL" : " IS NOT NULL");
    case 3: {
        const bool glob = dice.below(2) > 0;
        return column + (glob ? " GLOB " : " LIKE ") + operand(dice, pattern(dice, dice.pick(values), glob), query);
    }
    }
    return column + dice.pick(kOperators) + operand(dice, dice.pick(values), query);
}

}  // namespace

unsigned seed() {
    const char *given = std::getenv("QVK_SEED");
    return given ? static_cast<unsigned>(std::atol(given)) : std::random_device{}();
}

Query random_query(Dice &dice, const Columns &columns, size_t fewest_terms, bool with_or) {
    Query query;
    for (size_t terms = fewest_terms + dice.below(3); terms > 0; --terms) {
        const auto &[column, values] = columns[dice.below(columns.size())];
        const std::string text = term(dice, column, values, query);
        query.where += query.where.empty() ? text : (with_or && dice.below(6) == 0 ? " OR " : " AND ") + text;
    }
    if (query.where.find(" OR ") != query.where.npos) {
        query.where += " ORDER BY $T.rowid";  // SQLite may answer the sides one after the other
    }
    return query;
}
