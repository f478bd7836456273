#pragma once
#include <cstddef>

namespace zel::engine {

/// Asks for huge pages for the part of fresh memory that can have them, before it is first touched: filling it then
/// makes 512 times fewer page faults. Advice only: without huge pages it is merely slower.
void adviseHugePages(void* start, std::size_t bytes);

} // namespace zel::engine
