#pragma once
#include <zel/engine/label.h>

namespace zel::engine {

/// What a region of set bits cuts off from the picture's border, on one spot: regions of clear bits and whatever set
/// ones lie among them, all of them reachable from one another across sides without the surrounding region.
struct Hole {
    std::uint32_t around = 0;          ///< the surrounding region
    std::uint32_t first = 0, last = 0; ///< its regions are those at [first, last) of `Holes::regions`
    std::int64_t pixels = 0;           ///< of all of them
};

struct Holes {
    std::vector<std::uint32_t> regions; ///< every region once, so that those of a hole stand side by side
    std::vector<Hole> list;             ///< in the order of `around`
};

/// All holes of all regions of set bits. A hole may hold regions that have holes themselves. Works in proportion to the
/// number of runs, without recursion; takes at most `holeBytesPerRun` for each run. Throws bad_alloc.
[[nodiscard]] Holes findHoles(const RegionMap& map);
inline constexpr std::uint64_t holeBytesPerRun = 96;

/// Gives a colour, and alpha 255, to the regions of clear bits that do not touch the picture's border. The pixels have
/// the map's size, red, green, blue, alpha, 8 bits each.
void fillEnclosed(const RegionMap& map, const Pixels& pixels, std::uint8_t red, std::uint8_t green, std::uint8_t blue);

} // namespace zel::engine
