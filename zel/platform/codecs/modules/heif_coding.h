#pragma once
#include <cstdint>

namespace zel::heif {

/// How the pictures of a container are compressed: HEIF's way, and AVIF's.
enum class Coding : std::uint8_t { hevc, av1 };

} // namespace zel::heif
