#pragma once
#include <functional>

namespace zel::engine {

/// Pixels below which a loop stays on the calling thread: starting a second one costs more than it saves.
inline constexpr long long parallelGrain = 256 * 1024;

/// No loop uses more threads than this, however many are asked for.
inline constexpr int mostThreads = 256;

/// Threads that loops over pixels may use, the caller's among them; 0 (or below) = as many as there are cores that this
/// process may run on. Loops that run already keep the number they began with.
void setConcurrency(int threads);
int concurrency();

/// Calls `body(first, last)` for bands of [0, rows) that together cover it once, on as many threads as pay. Bands hold
/// at least enough rows for `parallelGrain` pixels of `pixelsPerRow` each and start at multiples of `rowsPerStep`.
/// The body must not throw and must not wait for other work. Results may not depend on where the bands are cut.
void parallelFor(int rows, long long pixelsPerRow, const std::function<void(int first, int last)>& body,
                 int rowsPerStep = 1);

} // namespace zel::engine
