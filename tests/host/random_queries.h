// Random tests of columns, and the fixture of those who ask them. Values come as literals and as parameters.
#pragma once

#include <gtest/gtest.h>
#include <random>
#include <string>
#include <vector>

struct Dice {
    std::mt19937 generator;

    size_t below(size_t limit) { return std::uniform_int_distribution<size_t>(0, limit - 1)(generator); }
    const std::string &pick(const std::vector<std::string> &from) { return from[below(from.size())]; }
};

struct Query {
    std::string where, parameters;
    int parameter_count = 0;
};

// Names with the values that they may be compared with, as literals.
using Columns = std::vector<std::pair<std::string, std::vector<std::string>>>;

Query random_query(Dice &dice, const Columns &columns, size_t fewest_terms, bool with_or);

unsigned seed();

// A run prints its seed when it fails; the same seed in QVK_SEED repeats it.
class RandomQueries : public testing::Test {
  protected:
    const unsigned used = seed();
    const testing::ScopedTrace trace{__FILE__, __LINE__, "QVK_SEED=" + std::to_string(used)};
    Dice dice{std::mt19937(used)};
};
