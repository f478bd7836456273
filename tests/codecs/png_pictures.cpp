#include <codecs/png_pictures.h>

#include <libdeflate.h>
#include <png.h>

#include <array>
#include <cstring>
#include <stdexcept>

namespace zel::testing_png {
namespace {

/// Sample `index` of a packed row.
std::uint16_t sampleAt(const std::uint8_t* row, int index, int bits)
{
    const auto i = static_cast<std::size_t>(index);
    if (bits == 16)
        return static_cast<std::uint16_t>(row[2 * i] << 8 | row[2 * i + 1]);
    if (bits == 8)
        return row[i];
    const std::size_t perByte = 8U / static_cast<unsigned>(bits);
    const auto shift = static_cast<int>((perByte - 1 - i % perByte) * static_cast<std::size_t>(bits));
    return static_cast<std::uint16_t>(row[i / perByte] >> shift & ((1 << bits) - 1));
}

void big32(Bytes& to, std::uint32_t value)
{
    for (int shift = 24; shift >= 0; shift -= 8)
        to.push_back(static_cast<std::uint8_t>(value >> shift));
}

} // namespace

void append(Bytes& to, const Bytes& more)
{
    to.insert(to.end(), more.begin(), more.end());
}

void fillRows(Recipe& recipe, unsigned seed)
{
    std::uint32_t state = seed * 2654435761U + 12345;
    recipe.rows.resize(recipe.rowBytes() * static_cast<std::size_t>(recipe.height));
    std::size_t position = 0;
    const auto entries = static_cast<std::uint32_t>(recipe.palette.size() / 3);
    for (auto& byte : recipe.rows) {
        state = state * 1664525U + 1013904223U;
        const std::uint32_t noise = state >> 24;
        const auto ramp = static_cast<std::uint32_t>(position++ * 3);
        byte = static_cast<std::uint8_t>((state >> 20 & 3) == 0 ? noise : ramp + (noise & 7));
        if (recipe.type == 3 && recipe.bits == 8)
            byte = static_cast<std::uint8_t>(byte % entries);
    }
}

Bytes writeWithLibpng(const Recipe& recipe)
{
    Bytes file;
    png_structp png = png_create_write_struct(
        PNG_LIBPNG_VER_STRING, nullptr, [](png_structp, png_const_charp message) { throw std::runtime_error(message); },
        nullptr);
    png_infop info = png_create_info_struct(png);
    png_set_write_fn(
        png, &file,
        [](png_structp self, png_bytep data, std::size_t size) {
            auto& to = *static_cast<Bytes*>(png_get_io_ptr(self));
            to.insert(to.end(), data, data + size);
        },
        nullptr);
    png_set_IHDR(png, info, static_cast<png_uint_32>(recipe.width), static_cast<png_uint_32>(recipe.height),
                 recipe.bits, recipe.type, recipe.interlaced ? PNG_INTERLACE_ADAM7 : PNG_INTERLACE_NONE, 0, 0);
    if (recipe.filters >= 0)
        png_set_filter(png, 0, recipe.filters);
    std::array<png_color, 256> palette{};
    if (!recipe.palette.empty()) {
        for (std::size_t i = 0; i < recipe.palette.size() / 3; ++i)
            palette[i] = {recipe.palette[3 * i], recipe.palette[3 * i + 1], recipe.palette[3 * i + 2]};
        png_set_PLTE(png, info, palette.data(), static_cast<int>(recipe.palette.size() / 3));
    }
    if (!recipe.transparency.empty()) {
        const auto& t = recipe.transparency;
        png_color_16 color{};
        if (recipe.type == 0)
            color.gray = static_cast<png_uint_16>(t[0] << 8 | t[1]);
        if (recipe.type == 2) {
            color.red = static_cast<png_uint_16>(t[0] << 8 | t[1]);
            color.green = static_cast<png_uint_16>(t[2] << 8 | t[3]);
            color.blue = static_cast<png_uint_16>(t[4] << 8 | t[5]);
        }
        png_set_tRNS(png, info, t.data(), recipe.type == 3 ? static_cast<int>(t.size()) : 1, &color);
    }
    png_write_info(png, info);
    Bytes rows = recipe.rows;
    std::vector<png_bytep> pointers;
    for (int y = 0; y < recipe.height; ++y)
        pointers.push_back(rows.data() + recipe.rowBytes() * static_cast<std::size_t>(y));
    png_write_image(png, pointers.data());
    png_write_end(png, nullptr);
    png_destroy_write_struct(&png, &info);
    return file;
}

std::vector<std::uint16_t> expectedSamples(const Recipe& recipe)
{
    std::vector<std::uint16_t> result;
    const int maximum = recipe.bits == 16 ? 0xFFFF : 0xFF;
    const int channels = recipe.channels();
    for (int y = 0; y < recipe.height; ++y) {
        const std::uint8_t* row = recipe.rows.data() + recipe.rowBytes() * static_cast<std::size_t>(y);
        for (int x = 0; x < recipe.width; ++x) {
            std::array<int, 4> raw{};
            for (int c = 0; c < channels; ++c)
                raw[static_cast<std::size_t>(c)] = sampleAt(row, x * channels + c, recipe.bits);
            std::array<int, 4> pixel = {raw[0], raw[1], raw[2], maximum};
            const auto& t = recipe.transparency;
            const auto key = [&](std::size_t c) { return t[2 * c] << 8 | t[2 * c + 1]; };
            switch (recipe.type) {
            case 0: {
                const int gray = recipe.bits >= 8 ? raw[0] : raw[0] * 255 / ((1 << recipe.bits) - 1);
                pixel = {gray, gray, gray, !t.empty() && raw[0] == key(0) ? 0 : maximum};
                break;
            }
            case 2:
                pixel[3] = !t.empty() && raw[0] == key(0) && raw[1] == key(1) && raw[2] == key(2) ? 0 : maximum;
                break;
            case 3: {
                const auto index = static_cast<std::size_t>(raw[0]);
                for (std::size_t c = 0; c < 3; ++c)
                    pixel[c] = recipe.palette[3 * index + c];
                pixel[3] = index < t.size() ? t[index] : 255;
                break;
            }
            case 4:
                pixel = {raw[0], raw[0], raw[0], raw[1]};
                break;
            default:
                pixel = raw;
            }
            for (const int component : pixel)
                result.push_back(static_cast<std::uint16_t>(component));
        }
    }
    return result;
}

std::optional<Decoded> decode(const Bytes& file, PixelProvider::Request request, std::uint8_t fill)
{
    const auto provider = pngCodec.open(ByteSource::of(Data(file)));
    if (!provider)
        return std::nullopt;
    Decoded result;
    result.facts = provider->facts();
    const auto& layout = result.facts.layout;
    result.width = layout.width;
    result.height = request.rowCount < 0 ? layout.height - request.firstRow : request.rowCount;
    result.bits = layout.bitsPerComponent;
    const auto rowSamples = static_cast<std::size_t>(layout.width) * 4;
    result.samples.assign(rowSamples * static_cast<std::size_t>(result.height),
                          static_cast<std::uint16_t>(fill * 0x101));
    int next = request.firstRow;
    result.complete = provider->decode(request, [&](int first, const engine::ConstPixels& rows) {
        if (first != next || rows.width != layout.width || rows.height < 1 ||
            rows.bytesPerPixel != (result.bits == 16 ? 8 : 4))
            throw std::logic_error("rows out of order or of another shape");
        next += rows.height;
        for (int y = 0; y < rows.height; ++y) {
            std::uint16_t* to =
                result.samples.data() + rowSamples * static_cast<std::size_t>(first + y - request.firstRow);
            if (result.bits == 16)
                std::memcpy(to, rows.row(y), rowSamples * 2);
            else
                std::copy_n(rows.row(y), rowSamples, to);
        }
        return true;
    });
    if (result.complete && next != request.firstRow + result.height)
        throw std::logic_error("rows are missing");
    return result;
}

Bytes chunk(const std::string& type, const Bytes& data)
{
    Bytes result;
    result.reserve(data.size() + 12);
    big32(result, static_cast<std::uint32_t>(data.size()));
    result.insert(result.end(), type.begin(), type.end());
    append(result, data);
    big32(result, libdeflate_crc32(0, result.data() + 4, result.size() - 4));
    return result;
}

Bytes fileOf(const std::vector<Bytes>& chunks)
{
    Bytes file = {0x89, 'P', 'N', 'G', 13, 10, 26, 10};
    for (const auto& each : chunks)
        append(file, each);
    return file;
}

Bytes imageHeader(std::uint32_t width, std::uint32_t height, int bits, int type, int interlace)
{
    Bytes data;
    big32(data, width);
    big32(data, height);
    append(data, {static_cast<std::uint8_t>(bits), static_cast<std::uint8_t>(type), 0, 0,
                  static_cast<std::uint8_t>(interlace)});
    return chunk("IHDR", data);
}

Bytes deflated(const Bytes& content)
{
    auto* const compressor = libdeflate_alloc_compressor(6);
    Bytes stream(libdeflate_zlib_compress_bound(compressor, content.size()));
    stream.resize(libdeflate_zlib_compress(compressor, content.data(), content.size(), stream.data(), stream.size()));
    libdeflate_free_compressor(compressor);
    return stream;
}

} // namespace zel::testing_png
