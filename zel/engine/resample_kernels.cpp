#include <zel/engine/resample_kernels.h>

#include <algorithm>

namespace zel::engine {

RowTaps::RowTaps(Axis positions) : axis(std::move(positions))
{
    steps = (axis.mostTaps() + pixelsBehindRow - 1) / pixelsBehindRow;
}

} // namespace zel::engine
