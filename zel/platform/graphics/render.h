#pragma once
#include <zel/engine/pixels.h>
#include <zel/engine/resample.h>
#include <zel/platform/graphics/cg_context.h>
#include <zel/platform/graphics/cg_image.h>
#include <zel/platform/graphics/pixel_provider.h>

// The one way in which pictures become drawn pixels: RGBA, 8 bits, sRGB. Decodes no more than the size needs (reduced
// decoding, row ranges), resamples while rows arrive, converts colours on the smaller side, turns upright last.
namespace zel {

/// In pixels from the top-left corner.
struct PixelRect {
    double x = 0, y = 0, width = 0, height = 0;
};

/// The window of the upright picture, premultiplied, so that it fills `to`. False, noted, when it cannot be decoded.
bool renderScaled(const CGImage& image, const engine::Window& window, const engine::Pixels& to, engine::Kernel kernel);
/// The same where nothing beyond `part` (whole pixels) may be sampled, such as what a crop took away.
bool renderPart(const CGImage& image, const PixelRect& part, const engine::Window& window, const engine::Pixels& to,
                engine::Kernel kernel);
/// The whole picture at its own size, straight alpha.
bool renderStraight(const CGImage& image, const engine::Pixels& to);

/// Lays the picture, or the part of it that `part` names (whole pixels, clipped to the picture), over `target`
/// (premultiplied), filling `place`, which may hang over. A place with whole sides is moved to the nearest whole pixel,
/// any other widened to whole pixels. True also where nothing of it is visible.
bool drawImage(const CGImage& image, const std::optional<PixelRect>& part, const engine::Pixels& target,
               const PixelRect& place, engine::Kernel kernel, double opacity);

/// The denominator at which an encoded picture is decoded that is drawn `reduction` times smaller. A reduced decode is
/// a box mean: it leaves the filter a little to do, so that its own shape still decides.
inline int decodedAt(const PixelProvider& provider, double reduction)
{
    constexpr double leastRemainingReduction = 1.3;
    for (const int denominator : {8, 4, 2})
        if (reduction >= denominator * leastRemainingReduction && provider.canReduce(denominator))
            return denominator;
    return 1;
}

engine::Kernel kernelOf(CGInterpolationQuality quality);

/// Whether drawing the picture gives opaque pixels everywhere.
bool drawsOpaque(const CGImage& image);

} // namespace zel
