#include "tools/krctl/nearest.h"

#include <algorithm>
#include <cstddef>

namespace {

constexpr std::size_t kLongestTyped = 64; // a longer text is no mistyped name

// The number of single-character changes between two texts; the exchange of two neighbours is one
// change.
std::size_t Distance(const std::string& from, const std::string& to) {
    std::vector<std::vector<std::size_t>> steps(from.size() + 1,
                                                std::vector<std::size_t>(to.size() + 1));
    for (std::size_t i = 0; i <= from.size(); ++i) {
        for (std::size_t j = 0; j <= to.size(); ++j) {
            if (i == 0 || j == 0) {
                steps[i][j] = i + j;
                continue;
            }
            const std::size_t replaced = from[i - 1] == to[j - 1] ? 0 : 1;
            steps[i][j] = std::min(
                {steps[i - 1][j] + 1, steps[i][j - 1] + 1, steps[i - 1][j - 1] + replaced});
            if (i > 1 && j > 1 && from[i - 1] == to[j - 2] && from[i - 2] == to[j - 1]) {
                steps[i][j] = std::min(steps[i][j], steps[i - 2][j - 2] + 1);
            }
        }
    }
    return steps.back().back();
}

} // namespace

std::string Nearest(const std::string& typed, const std::vector<std::string>& names) {
    constexpr std::size_t kCharactersPerChange = 3;
    std::string nearest;
    std::size_t least = kLongestTyped;
    for (const std::string& name : names) {
        if (typed.size() > kLongestTyped) {
            break;
        }
        const std::size_t distance = Distance(typed, name);
        const std::size_t most = std::max<std::size_t>(name.size() / kCharactersPerChange, 1);
        if (distance <= most && distance < least) {
            nearest = name;
            least = distance;
        }
    }
    return nearest;
}
