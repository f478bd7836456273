#include <zel/engine/convert_kernels.h>

namespace zel::engine {

void convertRows(const Conversion& conversion, const ConstPixels& from, const Pixels& to)
{
    convertRowsReference(conversion, from, to);
}

} // namespace zel::engine
