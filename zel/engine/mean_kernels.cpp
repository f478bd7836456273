#include <zel/engine/mean_kernels.h>

namespace zel::engine {

WeightedSums sumPixels(const ConstPixels& pixels, PixelLayout layout)
{
    return sumPixelsReference(pixels, layout);
}

} // namespace zel::engine
