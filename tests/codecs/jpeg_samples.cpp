#include "jpeg_samples.h"

#include <cstdlib>
#include <cstring>

namespace zel::jpegtest {

Bytes pattern(int width, int height, int components)
{
    Bytes result;
    std::uint32_t noise = 12345;
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            for (int component = 0; component < components; ++component) {
                noise = noise * 1664525U + 1013904223U;
                const int slope = (x * (3 + component) + y * (5 - component)) % 256;
                const int edge = (x / 7 + y / 11 + component) % 3 == 0 ? 60 : 0;
                result.push_back(static_cast<std::uint8_t>((slope + edge + static_cast<int>(noise >> 28)) % 256));
            }
    return result;
}

Bytes make(const Recipe& recipe)
{
    jpeg_compress_struct info{};
    jpeg_error_mgr errors{};
    info.err = jpeg_std_error(&errors);
    jpeg_create_compress(&info);
    unsigned char* memory = nullptr;
    unsigned long size = 0;
    jpeg_mem_dest(&info, &memory, &size);
    info.image_width = static_cast<JDIMENSION>(recipe.width);
    info.image_height = static_cast<JDIMENSION>(recipe.height);
    const bool isInk = recipe.stored == JCS_CMYK || recipe.stored == JCS_YCCK;
    const bool isGrey = recipe.stored == JCS_GRAYSCALE;
    info.input_components = isInk ? 4 : isGrey ? 1 : 3;
    info.in_color_space = isInk ? JCS_CMYK : isGrey ? JCS_GRAYSCALE : JCS_RGB;
    jpeg_set_defaults(&info);
    jpeg_set_colorspace(&info, recipe.stored);
    jpeg_set_quality(&info, recipe.quality, TRUE);
    if (isInk)
        info.write_Adobe_marker = recipe.adobe ? TRUE : FALSE;
    info.density_unit = static_cast<UINT8>(recipe.densityUnit);
    info.X_density = static_cast<UINT16>(recipe.densityX);
    info.Y_density = static_cast<UINT16>(recipe.densityY);
    for (int component = 0; component < info.num_components; ++component) {
        info.comp_info[component].h_samp_factor = component == 0 ? recipe.horizontal : 1;
        info.comp_info[component].v_samp_factor = component == 0 ? recipe.vertical : 1;
    }
    if (recipe.stored == JCS_YCCK) { // black as fine as luma
        info.comp_info[3].h_samp_factor = recipe.horizontal;
        info.comp_info[3].v_samp_factor = recipe.vertical;
    }
    std::vector<jpeg_scan_info> scans;
    if (recipe.progressive)
        jpeg_simple_progression(&info);
    if (recipe.separateScans) {
        for (int component = 0; component < info.num_components; ++component)
            scans.push_back({1, {component, 0, 0, 0}, 0, 63, 0, 0});
        info.scan_info = scans.data();
        info.num_scans = static_cast<int>(scans.size());
    }
    info.arith_code = recipe.arithmetic ? TRUE : FALSE;
    info.restart_interval = static_cast<unsigned>(recipe.restartInterval);
    jpeg_start_compress(&info, TRUE);
    for (const Segment& segment : recipe.segments)
        jpeg_write_marker(&info, segment.marker, segment.content.data(), static_cast<unsigned>(segment.content.size()));
    Bytes samples = pattern(recipe.width, recipe.height, info.input_components);
    if (!recipe.flat.empty())
        for (std::size_t index = 0; index < samples.size(); ++index)
            samples[index] = recipe.flat[index % recipe.flat.size()];
    const std::size_t stride = static_cast<std::size_t>(recipe.width) * static_cast<std::size_t>(info.input_components);
    while (info.next_scanline < info.image_height) {
        JSAMPROW row = samples.data() + info.next_scanline * stride;
        jpeg_write_scanlines(&info, &row, 1);
    }
    jpeg_finish_compress(&info);
    jpeg_destroy_compress(&info);
    Bytes result(memory, memory + size);
    std::free(memory);
    return result;
}

Bytes decodePlainly(std::span<const std::uint8_t> file, int denominator, bool smoothed)
{
    jpeg_decompress_struct info{};
    jpeg_error_mgr errors{};
    info.err = jpeg_std_error(&errors);
    jpeg_create_decompress(&info);
    jpeg_mem_src(&info, file.data(), static_cast<unsigned long>(file.size()));
    jpeg_read_header(&info, TRUE);
    const bool isInk = info.jpeg_color_space == JCS_CMYK || info.jpeg_color_space == JCS_YCCK;
    info.out_color_space = isInk ? JCS_CMYK : JCS_EXT_RGBA;
    info.scale_num = 1;
    info.scale_denom = static_cast<unsigned>(denominator);
    info.do_block_smoothing = smoothed ? TRUE : FALSE;
    jpeg_start_decompress(&info);
    const std::size_t stride = std::size_t{info.output_width} * 4;
    Bytes result(stride * info.output_height);
    while (info.output_scanline < info.output_height) {
        JSAMPROW row = result.data() + info.output_scanline * stride;
        jpeg_read_scanlines(&info, &row, 1);
    }
    jpeg_finish_decompress(&info);
    jpeg_destroy_decompress(&info);
    return result;
}

Bytes operator+(Bytes left, const Bytes& right)
{
    left.insert(left.end(), right.begin(), right.end());
    return left;
}

Bytes text(const char* characters, std::size_t count)
{
    return Bytes(characters, characters + count);
}

} // namespace zel::jpegtest
