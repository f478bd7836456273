#include <zel/engine/huge_pages.h>

#include <sys/mman.h>

#include <cstdint>

namespace zel::engine {

void adviseHugePages(void* start, std::size_t bytes)
{
    constexpr std::uintptr_t page = 4096;
    const auto address = reinterpret_cast<std::uintptr_t>(start);
    const std::uintptr_t skipped = (page - address % page) % page;
    if (bytes > skipped)
        ::madvise(static_cast<char*>(start) + skipped, bytes - skipped, MADV_HUGEPAGE);
}

} // namespace zel::engine
