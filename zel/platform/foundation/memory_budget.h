#pragma once
#include <cstdint>
#include <optional>
#include <string_view>

namespace zel {

/// Bytes that this process may still take before the machine or its control group runs short; absent where the kernel
/// does not tell.
std::optional<std::uint64_t> availableMemory();

/// The figure of a line "MemAvailable:   123 kB" of /proc/meminfo, in bytes.
std::optional<std::uint64_t> availableOf(std::string_view meminfo);
/// The figure of a control group's limit file; absent for "max" and for figures that mean no limit.
std::optional<std::uint64_t> groupLimitOf(std::string_view text);
/// The group's path of /proc/self/cgroup for the unified hierarchy ("0::/user.slice"); empty where there is none.
std::string_view unifiedGroupOf(std::string_view cgroups);

} // namespace zel
