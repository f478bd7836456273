#pragma once
#include <zel/operations/subjects.h>

namespace zel {

/// Whole pixels from the top-left corner.
struct PixelBox {
    int left = 0, top = 0, width = 0, height = 0;
    friend bool operator==(const PixelBox&, const PixelBox&) = default;
};

/// A subject with what is known of it beside its picture.
struct FoundSubject {
    PixelBox box;            ///< of its pixels
    PixelBox crop;           ///< what the picture shows
    std::int64_t pixels = 0; ///< its own, without closed holes
    Ref<const CGImage> picture;
};

/// What `zelFindSeparateSubjects` finds; absent, noted, where nothing could be looked for.
ZEL_API std::optional<std::vector<FoundSubject>> findSubjects(const Ref<const CGImage>& image,
                                                              const SeparateSubjects& how);

} // namespace zel
