#pragma once
#include <string>
#include <vector>

namespace zel::program {

using TableRow = std::vector<std::string>;

/// Columns as wide as their widest cell, two blanks apart. Empty rows are left out; nothing where there is no other.
std::string tableText(const TableRow& title, const std::vector<TableRow>& rows);

} // namespace zel::program
