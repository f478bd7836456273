#pragma once
#include <zel/platform/codecs/jpeg_strips.h>

#include <span>

namespace zel {

/// Everything in front of the first strip: JFIF without a resolution, the profile in as many pieces as it needs,
/// tables, frame and scan. `coder` has the Huffman tables.
std::vector<std::uint8_t> makeJpegHeader(int width, int height, JpegSampling sampling, const JpegQuantizers& quantizers,
                                         const JpegStripCoder& coder, int restartInterval,
                                         std::span<const std::uint8_t> profile);

} // namespace zel
