#include <zel/engine/tone.h>

#include <zel/engine/parallel.h>
#include <zel/engine/tone_kernels.h>

namespace zel::engine {

bool applyTone(const ConstPixels& from, const ToneTable& table, const Pixels& to)
{
    if (from.empty() || from.width != to.width || from.height != to.height || from.bytesPerPixel != 4 ||
        to.bytesPerPixel != 4)
        return false;
    parallelFor(from.height, from.width, [&](int first, int last) {
        toneRows(table, from.rows(first, last - first), to.rows(first, last - first));
    });
    return true;
}

} // namespace zel::engine
