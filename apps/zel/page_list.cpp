#include "page_list.h"

#include "quantity.h"
#include "usage.h"

#include <algorithm>
#include <limits>
#include <string>

namespace zel::program {
namespace {

constexpr int most = std::numeric_limits<int>::max();

int readPage(std::string_view text)
{
    return static_cast<int>(readWhole(text, 1, most));
}

} // namespace

std::optional<std::vector<int>> PageList::of(int count) const
{
    std::vector<int> pages;
    std::vector<bool> isNamed(static_cast<std::size_t>(std::max(count, 0)));
    const std::vector<std::pair<int, int>> all = {{1, most}};
    for (const auto& [first, last] : ranges.empty() ? all : ranges) {
        if (first > count && !ranges.empty())
            return std::nullopt;
        for (int page = first; page <= std::min(last, count); ++page) {
            const auto place = static_cast<std::size_t>(page - 1);
            if (!isNamed[place])
                pages.push_back(page - 1);
            isNamed[place] = true;
        }
    }
    return pages;
}

PageList readPages(std::string_view text)
{
    PageList list;
    for (;;) {
        const auto comma = text.find(',');
        const auto part = text.substr(0, comma);
        const auto dash = part.find('-');
        const int first = readPage(part.substr(0, dash));
        const bool isOpen = dash != std::string_view::npos && dash + 1 == part.size();
        const int last = dash == std::string_view::npos ? first : isOpen ? most : readPage(part.substr(dash + 1));
        if (last < first)
            throw UsageError(std::string(part) + " ends before it begins");
        list.ranges.emplace_back(first, last);
        if (comma == std::string_view::npos)
            return list;
        text.remove_prefix(comma + 1);
    }
}

} // namespace zel::program
