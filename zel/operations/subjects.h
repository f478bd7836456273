#pragma once
#include <zel/core/image.h>
#include <zel/export.h>

// Subjects are what stands apart on a transparent ground: regions of pixels more opaque than a threshold that hang
// together across their sides, not across corners.
namespace zel {

struct SeparateSubjects {
    std::uint8_t alphaThreshold = 10; ///< pixels with a larger alpha belong to subjects
    std::int64_t padding = 0;         ///< pixels kept before a subject; behind it, one more
    std::int64_t minPixelCount = 1;   ///< subjects of fewer pixels are left out
    bool fillHoles = false;           ///< make opaque what a subject encloses
    double fillHolesPercentage = 0;   ///< without `fillHoles`: only holes of at most this part of the subject's pixels
};

struct FillColor {
    NSColor fillColor;
};

/// One picture a subject, in the order of their first pixels, row by row: the part of the drawn picture (8 bits,
/// premultiplied, sRGB) around it, whatever else lies there. Where a hole is closed, its pixels get alpha 255 over the
/// colour they hold, in this picture and those that follow; a subject in a closed hole is part of the one around it.
/// The pictures share one memory; one that shows closed holes copies its part when its pixels are first asked for.
/// Empty, noted, where the picture cannot be decoded or passes `operationBytes`.
/// Cost: one pass over the pixels, then in proportion to the runs of pixels in a row.
ZEL_API std::vector<Ref<const CGImage>> zelFindSeparateSubjects(const Ref<const CGImage>& image, SeparateSubjects how);
/// Absent where the image has no `cgImage`.
ZEL_API std::optional<std::vector<Ref<ZelImage>>> zelFindSeparateSubjects(const Ref<ZelImage>& image,
                                                                          SeparateSubjects how);

/// The drawn picture, its holes in an opaque colour: regions of pixels with alpha below 10 that do not touch the
/// picture's border. Components of the colour become bytes times 255, cut off, of which the low 8 bits count; alpha
/// says nothing. Absent for a colour that is not finite.
ZEL_API Ref<const CGImage> fillHoles(const Ref<const CGImage>& image, FillColor color);

} // namespace zel
