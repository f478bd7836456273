#pragma once
#include "arguments.h"

#include <zel/core/image.h>

namespace zel::program {

enum class Fit { none, fit, fill };

/// "800": pixels, from 1 to 1,000,000.
std::int64_t readSide(std::string_view text);
Fit readFit(std::string_view text);

/// The size that a picture is brought to. Of several flags that each tell the whole size, one may be given.
struct SizingOptions {
    std::optional<std::int64_t> width, height, maxSide, minSide;
    std::optional<CGSize> size;
    std::optional<Fit> fit;
    bool noEnlarge = false;

    /// `withMinSide`: also --size, --min-side, --fit and --no-enlarge, which `export` does without.
    void declare(Arguments& arguments, bool all);
    /// Refuses flags that contradict each other; brings --size and --width with --height to one form.
    void check();
    [[nodiscard]] bool isGiven() const { return width || height || maxSide || minSide || size; }
};

/// How --max-side treats pictures that are smaller already.
enum class SmallPictures { stay, grow };

/// The pixel size that `resized` gives a picture of that size.
CGSize sizeAfter(CGSize before, const SizingOptions& to, SmallPictures small);
/// The picture in the size asked for: itself where none is asked for. Absent with the reason noted.
Ref<ZelImage> resized(const Ref<ZelImage>& image, const SizingOptions& to, SmallPictures small);

} // namespace zel::program
