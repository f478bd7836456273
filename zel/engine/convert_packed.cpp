#include <zel/engine/convert_packed.h>

#undef HWY_TARGET_INCLUDE
#define HWY_TARGET_INCLUDE "zel/engine/convert_packed.cpp"
#include <hwy/foreach_target.h>
#include <hwy/highway.h>

#include <array>

// All formats are one loop: a table of bytes makes 16 bytes of whole pixels from the next 4, 8, 12 or 16 packed ones,
// or the other way. Whatever is loaded or stored beyond those is inside the row, and overwritten by the next step.
HWY_BEFORE_NAMESPACE();
namespace zel::engine::HWY_NAMESPACE {
namespace {
#if HWY_TARGET == HWY_SCALAR

void expandAll(const std::uint8_t* from, PackedFormat format, int bytesPerComponent, std::uint8_t* to,
               std::size_t pixels)
{
    expandRowReference(from, format, bytesPerComponent, to, pixels);
}

void packAll(const std::uint8_t* from, std::uint8_t* to, PackedFormat format, int bytesPerComponent, std::size_t pixels)
{
    packRowReference(from, to, format, bytesPerComponent, pixels);
}

#else
namespace hn = hwy::HWY_NAMESPACE;

constexpr std::uint8_t nothing = 0x80; // in a table: a byte that becomes 0

struct Tables {
    alignas(16) std::uint8_t expand[16];
    alignas(16) std::uint8_t opaque[16];
    alignas(16) std::uint8_t pack[16];
};

/// 16-bit components are turned round, as the machines that these kernels run on store the low byte first.
constexpr Tables makeTables(int format, int bytes)
{
    constexpr int sources[4][4] = {{0, 0, 0, -1}, {0, 0, 0, 1}, {0, 1, 2, -1}, {0, 1, 2, 3}};
    constexpr int places[4][4] = {{0, 0, 0, 0}, {0, 3, 0, 0}, {0, 1, 2, 0}, {0, 1, 2, 3}};
    const int components = format + 1;
    Tables tables{};
    for (int i = 0; i < 16; ++i) {
        const int byte = bytes == 1 ? 0 : 1 - i % 2;
        const int pixel = i / (4 * bytes);
        const int source = sources[format][i / bytes % 4];
        tables.expand[i] = source < 0 ? nothing : std::uint8_t((pixel * components + source) * bytes + byte);
        tables.opaque[i] = source < 0 ? 0xFF : 0;
        const int packedPixel = i / (components * bytes);
        const int place = places[format][i / bytes % components];
        tables.pack[i] = i < 4 * components ? std::uint8_t((packedPixel * 4 + place) * bytes + byte) : nothing;
    }
    return tables;
}

constexpr Tables everyTables[4][2] = {{makeTables(0, 1), makeTables(0, 2)},
                                      {makeTables(1, 1), makeTables(1, 2)},
                                      {makeTables(2, 1), makeTables(2, 2)},
                                      {makeTables(3, 1), makeTables(3, 2)}};

const Tables& tablesOf(PackedFormat format, int bytesPerComponent)
{
    return everyTables[static_cast<std::size_t>(format)][bytesPerComponent - 1];
}

struct Steps {
    std::size_t bytes;      ///< packed, a step
    std::size_t pixels;     ///< a step
    std::size_t count;      ///< steps whose 16 packed bytes lie inside the row
    std::size_t pixelsDone; ///< by all of them
};

Steps stepsOf(PackedFormat format, int bytesPerComponent, std::size_t pixels)
{
    const auto depth = static_cast<std::size_t>(bytesPerComponent);
    const std::size_t bytes = 4 * static_cast<std::size_t>(componentsOf(format));
    const std::size_t rowBytes = pixels * depth * static_cast<std::size_t>(componentsOf(format));
    const std::size_t count = rowBytes < 16 ? 0 : (rowBytes - 16) / bytes + 1;
    return {bytes, 4 / depth, count, count * (4 / depth)};
}

void expandAll(const std::uint8_t* from, PackedFormat format, int bytesPerComponent, std::uint8_t* to,
               std::size_t pixels)
{
    const hn::CappedTag<std::uint8_t, 16> d8;
    const Tables& tables = tablesOf(format, bytesPerComponent);
    const auto table = hn::Load(d8, tables.expand);
    const auto opaque = hn::Load(d8, tables.opaque);
    const Steps steps = stepsOf(format, bytesPerComponent, pixels);
    for (std::size_t i = 0; i < steps.count; ++i) {
        const auto packed = hn::LoadU(d8, from + i * steps.bytes);
        hn::StoreU(hn::Or(hn::TableLookupBytesOr0(packed, table), opaque), d8, to + 16 * i);
    }
    expandRowReference(from + steps.count * steps.bytes, format, bytesPerComponent, to + 16 * steps.count,
                       pixels - steps.pixelsDone);
}

void packAll(const std::uint8_t* from, std::uint8_t* to, PackedFormat format, int bytesPerComponent, std::size_t pixels)
{
    const hn::CappedTag<std::uint8_t, 16> d8;
    const auto table = hn::Load(d8, tablesOf(format, bytesPerComponent).pack);
    const Steps steps = stepsOf(format, bytesPerComponent, pixels);
    for (std::size_t i = 0; i < steps.count; ++i)
        hn::StoreU(hn::TableLookupBytesOr0(hn::LoadU(d8, from + 16 * i), table), d8, to + i * steps.bytes);
    packRowReference(from + 16 * steps.count, to + steps.count * steps.bytes, format, bytesPerComponent,
                     pixels - steps.pixelsDone);
}

#endif
} // namespace
} // namespace zel::engine::HWY_NAMESPACE
HWY_AFTER_NAMESPACE();

#if HWY_ONCE
namespace zel::engine {
namespace {
HWY_EXPORT(expandAll);
HWY_EXPORT(packAll);
} // namespace

void expandRow(const std::uint8_t* from, PackedFormat format, int bytesPerComponent, std::uint8_t* to,
               std::size_t pixels)
{
    HWY_DYNAMIC_DISPATCH(expandAll)(from, format, bytesPerComponent, to, pixels);
}

void packRow(const std::uint8_t* from, std::uint8_t* to, PackedFormat format, int bytesPerComponent, std::size_t pixels)
{
    HWY_DYNAMIC_DISPATCH(packAll)(from, to, format, bytesPerComponent, pixels);
}

} // namespace zel::engine
#endif // HWY_ONCE
