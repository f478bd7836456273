#pragma once
#include <chrono>

namespace zel {

/// A moment. The time zone is a matter of reading and writing it.
using Date = std::chrono::system_clock::time_point;

} // namespace zel
