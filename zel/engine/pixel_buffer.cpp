#include <zel/engine/pixel_buffer.h>

#include <zel/engine/huge_pages.h>

#include <sys/mman.h>

#include <cstdlib>

// Small buffers come from the heap, large ones straight from the system: fresh memory costs a page fault for each page,
// so those start at a huge page's border and ask for huge pages, which makes 512 times fewer faults.
namespace zel::engine {
namespace {
constexpr std::size_t mappedFrom = std::size_t{4} << 20; // bytes
constexpr std::size_t hugePage = std::size_t{2} << 20;
constexpr std::size_t smallPage = 4096;
constexpr std::size_t alignment = 64;
constexpr std::size_t mostBytes = std::size_t{1} << 46; // more than a process can address anyway

constexpr std::size_t roundedUp(std::size_t bytes, std::size_t unit)
{
    return (bytes + unit - 1) / unit * unit;
}

/// 0 when a side is below 1 or the product is beyond what can be addressed.
std::size_t bytesOf(int width, int height, int bytesPerPixel)
{
    if (width < 1 || height < 1 || bytesPerPixel < 1)
        return 0;
    std::size_t bytes = static_cast<std::size_t>(width) * static_cast<std::size_t>(height);
    if (__builtin_mul_overflow(bytes, static_cast<std::size_t>(bytesPerPixel), &bytes) || bytes > mostBytes)
        return 0;
    return bytes;
}

/// Of a large buffer: an end of more than half a huge page becomes a whole one.
constexpr std::size_t mappedBytes(std::size_t bytes)
{
    return roundedUp(bytes, bytes % hugePage > hugePage / 2 ? hugePage : smallPage);
}

/// Maps more than is needed and gives back what lies before the first huge page's border and behind the end.
std::uint8_t* mapHuge(std::size_t bytes)
{
    const std::size_t wanted = mappedBytes(bytes);
    const std::size_t mapped = wanted + hugePage - smallPage;
    void* start = ::mmap(nullptr, mapped, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (start == MAP_FAILED)
        return nullptr;
    auto* first = static_cast<std::uint8_t*>(start);
    const std::size_t skipped = (hugePage - reinterpret_cast<std::uintptr_t>(start) % hugePage) % hugePage;
    if (skipped > 0)
        ::munmap(first, skipped);
    if (mapped - skipped > wanted)
        ::munmap(first + skipped + wanted, mapped - skipped - wanted);
    adviseHugePages(first + skipped, wanted);
    return first + skipped;
}

std::uint8_t* allocate(std::size_t bytes)
{
    if (bytes == 0)
        return nullptr;
    if (bytes >= mappedFrom)
        return mapHuge(bytes);
    return static_cast<std::uint8_t*>(std::aligned_alloc(alignment, roundedUp(bytes, alignment)));
}

void release(std::uint8_t* data, std::size_t bytes)
{
    if (data == nullptr)
        return;
    if (bytes >= mappedFrom)
        ::munmap(data, mappedBytes(bytes));
    else
        std::free(data);
}
} // namespace

PixelBuffer::PixelBuffer(int width, int height, int bytesPerPixel)
{
    const std::size_t bytes = bytesOf(width, height, bytesPerPixel);
    std::uint8_t* data = allocate(bytes);
    if (data == nullptr)
        return;
    bytes_ = bytes;
    const auto stride = static_cast<std::ptrdiff_t>(width) * bytesPerPixel;
    pixels_ = {data, stride, width, height, bytesPerPixel};
}

PixelBuffer::~PixelBuffer()
{
    release(pixels_.data, bytes_);
}

PixelBuffer& PixelBuffer::operator=(PixelBuffer&& other) noexcept
{
    if (this != &other) {
        release(pixels_.data, bytes_);
        pixels_ = std::exchange(other.pixels_, {});
        bytes_ = std::exchange(other.bytes_, 0);
    }
    return *this;
}

} // namespace zel::engine
