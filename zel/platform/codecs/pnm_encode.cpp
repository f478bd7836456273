#include <zel/engine/convert_packed.h>
#include <zel/engine/huge_pages.h>
#include <zel/engine/parallel.h>
#include <zel/platform/codecs/encode.h>
#include <zel/platform/foundation/guards.h>
#include <zel/platform/foundation/notes.h>
#include <zel/platform/graphics/color_space.h>
#include <zel/platform/graphics/image_rows.h>

#include <fmt/format.h>

#include <cstring>
#include <new>

// A header of text, then bare rows: P6, for grey pictures too, as the name .ppm promises. There is no place for a
// profile, so colours become sRGB, and none for alpha, so the picture is laid over white.
namespace zel {
namespace {

using engine::PixelLayout;

template <class Component>
void layOverWhite(const engine::Pixels& premultiplied)
{
    constexpr auto most = static_cast<Component>(-1);
    for (int y = 0; y < premultiplied.height; ++y)
        for (int x = 0; x < premultiplied.width; ++x) {
            Component pixel[4];
            std::memcpy(pixel, premultiplied.at(x, y), sizeof pixel);
            for (int i = 0; i < 3; ++i)
                pixel[i] = static_cast<Component>(pixel[i] + (most - pixel[3]));
            std::memcpy(premultiplied.at(x, y), pixel, sizeof pixel);
        }
}

/// Brings bands of a picture's rows to opaque sRGB in its own depth.
class OpaqueRows {
public:
    explicit OpaqueRows(const CGImage::Layout& layout)
        : from_(pixelLayout(layout)), transform_(ColorTransform::toSrgb(layout.colorSpace))
    {
        opaque_ = from_.alpha == PixelLayout::Alpha::skip;
    }

    /// Empty where there is no memory. Holds until the next call.
    engine::ConstPixels operator()(const engine::ConstPixels& rows)
    {
        if (opaque_ && !transform_ && !from_.alphaFirst)
            return rows;
        const engine::ConstPixels has = std::as_const(band_).pixels();
        if (has.height < rows.height || has.width != rows.width)
            band_ = engine::PixelBuffer(rows.width, rows.height, rows.bytesPerPixel);
        if (band_.empty())
            return {};
        const engine::Pixels band = band_.pixels().rows(0, rows.height);
        PixelLayout straight{
            .alphaFirst = false, .alpha = PixelLayout::Alpha::straight, .bytesPerComponent = from_.bytesPerComponent};
        PixelLayout premultiplied = straight;
        premultiplied.alpha = PixelLayout::Alpha::premultiplied;
        if (!engine::convert(rows, from_, band, straight))
            return {};
        if (transform_)
            transform_->apply(band, band);
        if (opaque_)
            return band;
        if (!engine::convert(band, straight, band, premultiplied))
            return {};
        if (from_.bytesPerComponent == 2)
            layOverWhite<std::uint16_t>(band);
        else
            layOverWhite<std::uint8_t>(band);
        return band;
    }

private:
    PixelLayout from_;
    Ref<const ColorTransform> transform_;
    bool opaque_ = false;
    engine::PixelBuffer band_;
};

} // namespace

std::optional<Data> encodePnm(const Ref<const CGImage>& image)
try {
    if (!image)
        return failAbsentInput("encode");
    const CGImage::Layout& layout = image->layout();
    constexpr auto format = engine::PackedFormat::rgb;
    const int depth = layout.bitsPerComponent / 8;
    const auto bytes = checkedBytes(layout.width, layout.height, engine::componentsOf(format), depth);
    if (!bytes)
        return fail(ZelFailureCode::invalidArgument, "encode", "PNM: the picture is empty or too large");
    const std::string header = fmt::format("P6\n{} {}\n{}\n", layout.width, layout.height, depth == 2 ? 65535 : 255);
    std::vector<std::uint8_t> file;
    file.reserve(engine::hugeCapacity(header.size() + *bytes));
    engine::adviseHugePages(file.data(), file.capacity());
    file.resize(header.size() + *bytes);
    std::memcpy(file.data(), header.data(), header.size());
    const std::size_t rowBytes = *bytes / static_cast<std::size_t>(layout.height);
    OpaqueRows opaque(layout);
    const bool read = readRows(*image, [&](int first, const engine::ConstPixels& rows) -> bool {
        const engine::ConstPixels band = opaque(rows);
        if (band.empty())
            return fail(ZelFailureCode::outOfMemory, "encode", "PNM: no memory for rows");
        std::uint8_t* const to = file.data() + header.size() + rowBytes * static_cast<std::size_t>(first);
        engine::parallelFor(band.height, band.width, [&](int top, int bottom) {
            for (int y = top; y < bottom; ++y)
                engine::packRow(band.row(y), to + rowBytes * static_cast<std::size_t>(y), format, depth,
                                static_cast<std::size_t>(band.width));
        });
        return keepGoing(static_cast<double>(first + rows.height) / layout.height, "encode");
    });
    if (!read)
        return std::nullopt; // noted where it happened
    return Data(std::move(file));
} catch (const std::bad_alloc&) {
    return fail(ZelFailureCode::outOfMemory, "encode", "PNM: no memory for the file");
}

} // namespace zel
