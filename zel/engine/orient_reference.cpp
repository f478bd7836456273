#include <zel/engine/orient_kernels.h>

#include <cstring>

namespace zel::engine {

void transposePixelsReference(const ConstPixels& from, const Pixels& to)
{
    for (int y = 0; y < to.height; ++y)
        for (int x = 0; x < to.width; ++x)
            std::memcpy(to.at(x, y), from.at(y, x), static_cast<std::size_t>(to.bytesPerPixel));
}

void mirrorRowsReference(const ConstPixels& from, const Pixels& to)
{
    for (int y = 0; y < to.height; ++y)
        for (int x = 0; x < to.width; ++x)
            std::memcpy(to.at(x, y), from.at(to.width - 1 - x, y), static_cast<std::size_t>(to.bytesPerPixel));
}

} // namespace zel::engine
