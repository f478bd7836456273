#pragma once
#include <zel/operations/filters.h>

namespace zel::program {

/// The table in a file of any of the kinds that `zel cube` takes. Absent with the reason noted.
std::optional<ZelLut> readLut(const std::string& file);

} // namespace zel::program
