#include <zel/engine/blend_kernels.h>

namespace zel::engine {

void blendRows(const ConstPixels& from, const Pixels& to, std::uint32_t opacity)
{
    blendRowsReference(from, to, opacity);
}

void flattenRows(const ConstPixels& from, bool premultiplied, const Pixels& to, std::array<std::uint8_t, 3> paper)
{
    flattenRowsReference(from, premultiplied, to, paper);
}

} // namespace zel::engine
