#include "Quillshade/settings/Spelling.h"

#include <algorithm>
#include <cstddef>
#include <numeric>
#include <utility>
#include <vector>

namespace nomara::Spelling {

bool isClose(std::string_view written, std::string_view meant) {
    constexpr std::size_t shortest = 5, shortWord = 8, maxLength = 200;
    const std::size_t limit = std::min(written.size(), meant.size()) < shortWord ? 1 : 2;
    if (std::min(written.size(), meant.size()) < shortest || std::max(written.size(), meant.size()) > maxLength)
        return written == meant;
    if (std::max(written.size(), meant.size()) - std::min(written.size(), meant.size()) > limit) return false;
    // The number of changes from each beginning of one to each beginning of the other, a row at a time.
    std::vector<std::size_t> row(meant.size() + 1);
    std::iota(row.begin(), row.end(), 0U);
    for (std::size_t i = 0; i < written.size(); ++i) {
        std::size_t diagonal = std::exchange(row[0], i + 1);
        for (std::size_t j = 0; j < meant.size(); ++j) {
            const std::size_t changed = diagonal + (written[i] == meant[j] ? 0 : 1);
            diagonal = row[j + 1];
            row[j + 1] = std::min({changed, row[j] + 1, row[j + 1] + 1});
        }
    }
    return row.back() <= limit;
}

} // namespace nomara::Spelling
