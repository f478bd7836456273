#pragma once
#include <optional>
#include <string_view>
#include <utility>
#include <vector>

namespace zel::program {

/// Pages that a person asked for, from 1: "1-3,7", "5-". None named = all.
struct PageList {
    std::vector<std::pair<int, int>> ranges; ///< first and last

    /// The pages of a document of `count`, from 0, in the order in which they were named, each once. Absent where one
    /// that was named is not there; of a range it is enough that the first is.
    [[nodiscard]] std::optional<std::vector<int>> of(int count) const;
};

/// Throws UsageError where it is no such list.
PageList readPages(std::string_view text);

} // namespace zel::program
