// The number of statements in each batch, for a number of new files.

#pragma once

#include <cstddef>
#include <ostream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace unit {

struct Batches {
    int files;
    std::vector<std::size_t> statements;
};

inline void PrintTo(const Batches& batches, std::ostream* out) {
    *out << batches.files;
}

// A batch contains up to 1000 statements.
inline auto BatchesAroundALimit() {
    return testing::Values(Batches{0, {}}, Batches{999, {999}}, Batches{1000, {1000}},
                           Batches{1001, {1000, 1}}, Batches{2000, {1000, 1000}},
                           Batches{2001, {1000, 1000, 1}});
}

inline std::string NameOf(const testing::TestParamInfo<Batches>& test) {
    return std::to_string(test.param.files);
}

} // namespace unit
