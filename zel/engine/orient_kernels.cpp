#include <zel/engine/orient_kernels.h>

namespace zel::engine {

void transposePixels(const ConstPixels& from, const Pixels& to)
{
    transposePixelsReference(from, to);
}

void mirrorRows(const ConstPixels& from, const Pixels& to)
{
    mirrorRowsReference(from, to);
}

} // namespace zel::engine
