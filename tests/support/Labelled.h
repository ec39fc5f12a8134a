#pragma once

// Table-driven tests name their rows: a row type that starts from Labelled is printed by
// its label in failure messages, and byLabel names each instantiated case after it.
//
//     struct Row : test_support::Labelled { int input; int expected; };
//     INSTANTIATE_TEST_SUITE_P(, RowTest, testing::Values(Row{"Empty", 0, 0}, ...),
//                              test_support::byLabel);

#include <concepts>
#include <gtest/gtest.h>
#include <ostream>
#include <string>

namespace test_support {

struct Labelled {
    const char* label;
};

// Found by argument-dependent lookup for every row type derived from Labelled.
template <std::derived_from<Labelled> Row> void PrintTo(const Row& row, std::ostream* out) {
    *out << row.label;
}

inline constexpr auto byLabel = [](const auto& info) { return std::string(info.param.label); };

} // namespace test_support
