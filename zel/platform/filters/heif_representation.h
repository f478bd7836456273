#pragma once
#include <zel/platform/codecs/encode.h>
#include <zel/platform/filters/ci_image.h>

namespace zel {

/// What a rendered expression is written as: sRGB, of 8 bits with alpha, or of 10 bits without.
enum class HeifFormat { rgba8, rgb10 };

/// The expression's whole extent, rendered once and ready to be encoded at any quality. Null with the reason noted.
Ref<HeifEncoder> heifRepresentation(const CIContext& context, const Ref<const CIImage>& image, HeifFormat format,
                                    heif::Coding coding = heif::Coding::hevc);

} // namespace zel
