#include <zel/engine/huge_pages.h>

#include <sys/mman.h>

#include <cstdint>

namespace zel::engine {
namespace {
constexpr std::size_t huge = std::size_t{2} << 20;
constexpr int collapse = 25; // MADV_COLLAPSE since Linux 6.1, which the C library's header does not name everywhere
} // namespace

void adviseHugePages(void* start, std::size_t bytes)
{
    if (bytes == 0)
        return;
    // With the small pages that it begins and ends in: a mapping is split where advice begins, and what of a huge page
    // lies before that cannot be one.
    constexpr std::uintptr_t page = 4096;
    const std::uintptr_t before = reinterpret_cast<std::uintptr_t>(start) % page;
    char* const first = static_cast<char*>(start) - before;
    const std::size_t whole = (before + bytes + page - 1) / page * page;
    ::madvise(first, whole, MADV_HUGEPAGE);
    // The heap has written its header, so that a small page is there already; it becomes part of a huge one.
    if (before > 0 && reinterpret_cast<std::uintptr_t>(first) % huge == 0 && whole >= huge)
        ::madvise(first, huge, collapse);
}

std::size_t hugeCapacity(std::size_t bytes)
{
    constexpr std::size_t header = 32; // the C library's, rounded up
    return bytes < huge ? bytes : (bytes + header + huge - 1) / huge * huge - header;
}

} // namespace zel::engine
