#pragma once
#include <zel/operations/subjects.h>
#include <zel/platform/graphics/image_part.h>

namespace zel {

/// A subject with what is known of it beside its picture.
struct FoundSubject {
    PixelArea box;           ///< of its pixels
    PixelArea crop;          ///< what the picture shows
    std::int64_t pixels = 0; ///< its own, without closed holes
    Ref<const CGImage> picture;
};

/// What `zelFindSeparateSubjects` finds; absent, noted, where nothing could be looked for.
ZEL_API std::optional<std::vector<FoundSubject>> findSubjects(const Ref<const CGImage>& image,
                                                              const SeparateSubjects& how);

} // namespace zel
