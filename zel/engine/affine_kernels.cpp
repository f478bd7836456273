#include <zel/engine/affine_kernels.h>

namespace zel::engine {

void drawAffineInside(const AffineRun& run, std::uint8_t* to, std::size_t count)
{
    drawAffineAnywhere(run, to, count);
}

} // namespace zel::engine
