#pragma once
#include <cstddef>
#include <cstdint>

namespace zel::engine {

/// The most rows that `addRows` takes at a time.
inline constexpr int mostRowsAdded = 16;

/// sums[i] += Σ rows[k][i] for i below `count`, a multiple of four; 1 to `mostRowsAdded` rows.
void addRows(const std::uint8_t* const* rows, int rowCount, std::uint32_t* sums, std::size_t count);

/// The definition, and what serves for components of 16 bits.
template <class Component>
void addRowsReference(const Component* const* rows, int rowCount, std::uint32_t* sums, std::size_t count)
{
    for (int k = 0; k < rowCount; ++k)
        for (std::size_t i = 0; i < count; ++i)
            sums[i] += rows[k][i];
}

} // namespace zel::engine
