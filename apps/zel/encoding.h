#pragma once
#include "arguments.h"
#include "picture_formats.h"

#include <zel/core/image.h>

namespace zel::program {

/// How results become files.
struct EncodingOptions {
    std::optional<Format> format;
    std::optional<double> quality;        ///< 0...100, of JPEG, HEIF and AVIF
    std::optional<std::int64_t> maxBytes; ///< of JPEG, HEIF and AVIF
    std::optional<double> dpi;

    void declare(Arguments& arguments);
    /// Refuses flags that contradict each other, or a format that is written.
    void check(Format written) const;
};

/// The resolution that a picture's file stated, as stored with the upright picture; 0 where it stated none.
struct Resolution {
    double x = 0, y = 0;
};
Resolution resolutionOf(const Ref<ZelImage>& image);

/// The picture's file. `kept`: the resolution of the input, recorded where `--dpi` gives no other. Absent with the
/// reason noted.
std::optional<Data> encodePicture(const Ref<ZelImage>& image, Format format, const EncodingOptions& options,
                                  Resolution kept);

} // namespace zel::program
