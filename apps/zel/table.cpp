#include "table.h"

#include <fmt/format.h>

#include <algorithm>

namespace zel::program {

std::string tableText(const TableRow& title, const std::vector<TableRow>& rows)
{
    std::vector<std::size_t> widths;
    for (const auto& cell : title)
        widths.push_back(cell.size());
    for (const auto& row : rows)
        for (std::size_t i = 0; i < row.size(); ++i)
            widths[i] = std::max(widths[i], row[i].size());
    std::string text;
    const auto add = [&](const TableRow& row) {
        for (std::size_t i = 0; i + 1 < row.size(); ++i)
            text += fmt::format("{:<{}}", row[i], widths[i] + 2);
        text += row.back() + '\n';
    };
    for (const auto& row : rows) {
        if (row.empty())
            continue;
        if (text.empty())
            add(title);
        add(row);
    }
    return text;
}

} // namespace zel::program
