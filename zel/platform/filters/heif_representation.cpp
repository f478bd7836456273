#include <zel/platform/filters/heif_representation.h>

#include <zel/platform/foundation/notes.h>

namespace zel {

Ref<HeifEncoder> heifRepresentation(const CIContext& context, const Ref<const CIImage>& image, HeifFormat format,
                                    heif::Coding coding)
{
    if (!image)
        return failAbsentInput("encode HEIF");
    const Ref<const CGImage> pixels = context.createCGImage(image, image->extent());
    return pixels ? HeifEncoder::make(pixels, {.bits = format == HeifFormat::rgb10 ? 10 : 8, .coding = coding})
                  : nullptr;
}

} // namespace zel
