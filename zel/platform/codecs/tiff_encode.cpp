#include <zel/engine/convert_packed.h>
#include <zel/platform/codecs/encode.h>
#include <zel/platform/codecs/tiff_file.h>
#include <zel/platform/foundation/guards.h>
#include <zel/platform/foundation/notes.h>
#include <zel/platform/graphics/color_space.h>
#include <zel/platform/graphics/image_rows.h>

#include <fmt/format.h>

#include <cstring>
#include <new>

// Rows flow from the picture into libtiff, and from there into memory. Grey stays grey, 16 bits stay 16 bits, alpha is
// written as it stands: premultiplied is what TIFF calls associated.
namespace zel {
namespace {

constexpr std::uint64_t mostForSmallOffsets = 2'000'000'000; // LZW may make it half as large again; 32 bits end at 4.29

/// The file that libtiff writes, in memory.
struct Growing {
    std::vector<std::uint8_t> bytes;
    bool outOfMemory = false;
    std::string complaint;

    static bool write(void* self, std::uint64_t offset, const void* from, std::size_t count) noexcept
    {
        auto& [bytes, outOfMemory, complaint] = *static_cast<Growing*>(self);
        try {
            if (bytes.size() < offset + count)
                bytes.resize(offset + count);
        } catch (const std::exception&) {
            outOfMemory = true;
            return false;
        }
        std::memcpy(bytes.data() + offset, from, count);
        return true;
    }
    static void complain(void* self, const char* text) noexcept
    {
        try {
            static_cast<Growing*>(self)->complaint = text;
        } catch (const std::bad_alloc&) { // then without its words
        }
    }
};

/// What a row is written as.
struct Form {
    bool gray, alpha, wide, alphaFirst;
    [[nodiscard]] int samples() const { return (gray ? 1 : 3) + (alpha ? 1 : 0); }
};

Form formOf(const CGImage::Layout& layout)
{
    const engine::PixelLayout pixels = pixelLayout(layout);
    // A profile for colours would make no sense in a grey file.
    const bool gray = layout.isGray && (!layout.colorSpace || layout.colorSpace->channels() == 1);
    return {gray, hasAlpha(layout.alphaInfo), layout.bitsPerComponent == 16, pixels.alphaFirst};
}

template <class Sample>
void packSamples(const std::uint8_t* from, const Form& form, int width, std::uint8_t* to)
{
    const std::size_t first = form.alphaFirst ? 1 : 0, alpha = form.alphaFirst ? 0 : 3;
    const std::size_t colors = form.gray ? 1 : 3, size = sizeof(Sample);
    for (int x = 0; x < width; ++x, from += 4 * size) {
        std::memcpy(to, from + first * size, colors * size);
        to += colors * size;
        if (form.alpha) {
            std::memcpy(to, from + alpha * size, size);
            to += size;
        }
    }
}

void pack(const std::uint8_t* from, const Form& form, int width, std::uint8_t* to)
{
    if (form.wide)
        packSamples<std::uint16_t>(from, form, width, to);
    else if (form.alphaFirst)
        packSamples<std::uint8_t>(from, form, width, to);
    else
        engine::packRow(from, to, static_cast<engine::PackedFormat>(form.samples() - 1), 1,
                        static_cast<std::size_t>(width));
}

tiff::NewFile describe(const CGImage::Layout& layout, const Form& form, const TiffOptions& options)
{
    constexpr unsigned associated = 1, unassociated = 2;
    const bool premultiplied = pixelLayout(layout).alpha == engine::PixelLayout::Alpha::premultiplied;
    tiff::NewFile file;
    file.width = static_cast<std::uint32_t>(layout.width);
    file.height = static_cast<std::uint32_t>(layout.height);
    file.bitsPerSample = form.wide ? 16 : 8;
    file.samplesPerPixel = static_cast<std::uint16_t>(form.samples());
    file.extraSample = static_cast<std::uint16_t>(!form.alpha ? 0 : premultiplied ? associated : unassociated);
    file.xResolution = static_cast<float>(options.dpiX);
    file.yResolution = static_cast<float>(options.dpiY);
    if (layout.colorSpace && layout.colorSpace->channels() == (form.gray ? 1 : 3)) {
        file.profile = layout.colorSpace->profile().data();
        file.profileSize = static_cast<std::uint32_t>(layout.colorSpace->profile().size());
    }
    const auto bytes = checkedBytes(layout.width, layout.height, form.samples(), form.wide ? 2 : 1);
    file.big = !bytes || *bytes > mostForSmallOffsets;
    return file;
}

} // namespace

std::optional<Data> encodeTiff(const Ref<const CGImage>& image, const TiffOptions& options)
try {
    if (!image)
        return failAbsentInput("encode");
    const tiff::Api* const api = tiff::module();
    if (api == nullptr)
        return std::nullopt;
    const CGImage::Layout& layout = image->layout();
    const Form form = formOf(layout);
    std::vector<std::uint8_t> row(static_cast<std::size_t>(layout.width) * static_cast<std::size_t>(form.samples()) *
                                  (form.wide ? 2 : 1));
    Growing file;
    tiff::Writer* const writer =
        api->create({&file, Growing::write, Growing::complain}, describe(layout, form, options));
    bool written = writer != nullptr, read = true;
    if (written) {
        read = readRows(*image, [&](int first, const engine::ConstPixels& rows) {
            for (int y = 0; y < rows.height && written; ++y) {
                pack(rows.row(y), form, layout.width, row.data());
                written = api->writeRow(writer, row.data());
            }
            return written && keepGoing(static_cast<double>(first + rows.height) / layout.height, "encode");
        });
        written = api->finish(writer, written && read) || (written && !read);
    }
    if (file.outOfMemory)
        return fail(ZelFailureCode::outOfMemory, "encode", "TIFF: no memory for the file");
    if (!written)
        return fail(ZelFailureCode::writeFailed, "encode",
                    fmt::format("TIFF: it cannot be written ({})", file.complaint));
    if (!read)
        return std::nullopt; // noted where it happened
    return Data(std::move(file.bytes));
} catch (const std::bad_alloc&) {
    return fail(ZelFailureCode::outOfMemory, "encode", "TIFF: no memory for the file");
}

} // namespace zel
