#include <zel/engine/fill.h>
#include <zel/engine/parallel.h>

#include <algorithm>
#include <cstring>

// Rows are filled by doubling what stands at their beginning: the system's memory copy then does the work at its speed.
namespace zel::engine {
namespace {

void fillRow(std::uint8_t* row, std::size_t rowBytes, const std::uint8_t* pixel, std::size_t pixelBytes)
{
    std::memcpy(row, pixel, pixelBytes);
    for (std::size_t done = pixelBytes; done < rowBytes;) {
        const std::size_t next = std::min(done, rowBytes - done);
        std::memcpy(row + done, row, next);
        done += next;
    }
}

} // namespace

void fill(const Pixels& to, std::array<std::uint8_t, 4> pixel)
{
    if (to.empty())
        return;
    std::array<std::uint8_t, 8> stored{pixel[0], pixel[1], pixel[2], pixel[3]};
    if (to.bytesPerPixel == 8)
        stored = {pixel[0], pixel[0], pixel[1], pixel[1], pixel[2], pixel[2], pixel[3], pixel[3]};
    const bool oneByte = pixel[0] == pixel[1] && pixel[1] == pixel[2] && pixel[2] == pixel[3];
    parallelFor(to.height, to.width, [&](int first, int last) {
        if (!oneByte)
            fillRow(to.row(first), to.rowBytes(), stored.data(), static_cast<std::size_t>(to.bytesPerPixel));
        for (int y = first; y < last; ++y) {
            if (oneByte)
                std::memset(to.row(y), pixel[0], to.rowBytes());
            else if (y > first)
                std::memcpy(to.row(y), to.row(first), to.rowBytes());
        }
    });
}

bool copy(const ConstPixels& from, const Pixels& to)
{
    if (from.empty() || from.width != to.width || from.height != to.height || from.bytesPerPixel != to.bytesPerPixel)
        return false;
    if (from.data == to.data)
        return from.stride == to.stride || from.height == 1;
    parallelFor(from.height, from.width, [&](int first, int last) {
        for (int y = first; y < last; ++y)
            std::memcpy(to.row(y), from.row(y), from.rowBytes());
    });
    return true;
}

} // namespace zel::engine
