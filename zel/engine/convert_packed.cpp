#include <zel/engine/convert_packed.h>

namespace zel::engine {

void expandRow(const std::uint8_t* from, PackedFormat format, int bytesPerComponent, std::uint8_t* to,
               std::size_t pixels)
{
    expandRowReference(from, format, bytesPerComponent, to, pixels);
}

void packRow(const std::uint8_t* from, std::uint8_t* to, PackedFormat format, int bytesPerComponent, std::size_t pixels)
{
    packRowReference(from, to, format, bytesPerComponent, pixels);
}

} // namespace zel::engine
