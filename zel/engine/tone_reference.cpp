#include <zel/engine/tone_kernels.h>

namespace zel::engine {

void toneRowsReference(const ToneTable& table, const ConstPixels& from, const Pixels& to)
{
    for (int y = 0; y < from.height; ++y)
        for (int x = 0; x < from.width; ++x) {
            const std::uint8_t* pixel = from.at(x, y);
            std::uint8_t* result = to.at(x, y);
            for (int i = 0; i < 3; ++i)
                result[i] = table[pixel[i]];
            result[3] = pixel[3];
        }
}

} // namespace zel::engine
