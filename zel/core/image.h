#pragma once
#include <zel/export.h>
#include <zel/platform/filters/ci_image.h>
#include <zel/platform/foundation/url.h>
#include <zel/platform/images/ns_image.h>

// Every free function of the library that takes a picture takes an absent one without harm: the result is absent too,
// and what went wrong first stays in ZelFailure::last().
namespace zel {

/// Items that travel with an image. JSON: {"metadata":[{"key":…,"value":…}]}.
struct ZelImageMetadata {
    struct Item {
        std::string key, value;
        friend bool operator==(const Item&, const Item&) = default;
    };
    std::vector<Item> metadata;
    friend bool operator==(const ZelImageMetadata&, const ZelImageMetadata&) = default;
};

/// The image object of the library: a shared object around one NSImage, with its pixel facts and the forms that
/// operations need. Operations leave their images as they are and give new ones. Setting a field changes that field
/// alone; nothing is recomputed and the lazily built forms are never dropped. One image may be used from any number of
/// threads as long as nobody sets its fields.
class ZEL_API ZelImage {
public:
    enum class ScaleMode;         // operations/resize.h
    enum class JoinOrientation;   // operations/crop.h
    enum class RotationDirection; // operations/rotate.h
    struct KeyColor;              // operations/chroma.h

    std::string id;             ///< unique within the process
    Ref<NSImage> image;         ///< always there
    CGSize size;                ///< pixels, upright
    Ref<const CGImage> cgImage; ///< null where nobody has asked for pixels yet
    ZelImageMetadata metadata;

    Ref<const CIImage> ciImage();      ///< built once from `cgImage` and kept; null without one
    Ref<NSBitmapImageRep> bitmapRep(); ///< built once from `cgImage` and kept; null without one (noted)
    /// Sets `size` to the pixel sides of `cgImage`, which is built first where it is missing. Where no pixels can be
    /// had, `size` stays as it is and the failure is noted.
    void setSize();
    void getFrame(); ///< does nothing

    Ref<const CIImage> ciImage_; ///< what `ciImage()` keeps

    ZelImage(); ///< a new `id`, an empty NSImage, size (0, 0)
    ZelImage(const ZelImage&) = delete;
    ZelImage& operator=(const ZelImage&) = delete;

private:
    struct State;
    Ref<State> state_;
};

struct NoTimeOut {
    bool noTimeOut = false; ///< accepted, without effect
};
struct DontCreateAuxiliaryVars {
    bool dontCreateAuxiliaryVars = false; ///< true: no `cgImage`, `size` stays (0, 0)
};
struct FastUrl {
    URL fastUrl;
};
struct FromCIImage {
    Ref<const CIImage> ciImage;
};
struct NamedImage {
    std::string named;
};
struct BlankSize {
    CGSize size;
};
struct NotBakedNormalizedSize {
    CGSize notBakedNormalizedSize;
};

// Null where the file is missing, unreadable or no picture, the name unknown, or the expression cannot be rendered.
// `size` is the upright pixel size. Cost: the header is read and the first rows are tried; pixels are decoded when
// something needs them.
ZEL_API Ref<ZelImage> makeZelImage(const URL& file, NoTimeOut options = {});
/// Reads the whole file into memory first, so that nothing that happens to it later matters.
ZEL_API Ref<ZelImage> makeZelImage(FastUrl file);
/// Null only when `image` is; where it yields no pixels, `size` stays (0, 0) and the failure is noted.
ZEL_API Ref<ZelImage> makeZelImage(const Ref<NSImage>& image, DontCreateAuxiliaryVars options = {});
ZEL_API Ref<ZelImage> makeZelImage(const Data& encoded, DontCreateAuxiliaryVars options = {});
/// One point a pixel.
ZEL_API Ref<ZelImage> makeZelImage(const Ref<const CGImage>& image);
/// Renders the whole extent.
ZEL_API Ref<ZelImage> makeZelImage(const Ref<const CIImage>& image);
ZEL_API Ref<ZelImage> makeZelImage(FromCIImage image);
/// An image of the application's `Resources`.
ZEL_API Ref<ZelImage> makeZelImage(NamedImage name);
/// Blank, of that many pixels: its NSImage measures size ÷ display scale points. Nothing is allocated before it is
/// drawn.
ZEL_API Ref<ZelImage> makeZelImage(BlankSize size);
/// Blank, its NSImage of that many points whatever the display scale.
ZEL_API Ref<ZelImage> makeZelImage(NotBakedNormalizedSize size);

/// The expression's whole extent as pixels, in a context of its own; null when it cannot be rendered.
ZEL_API Ref<const CGImage> getCGImage(const Ref<const CIImage>& image);

namespace ZelImageHelper {
struct LoadUrl {
    URL url;
};
/// The same as `makeZelImage(file)`.
ZEL_API Ref<ZelImage> load(LoadUrl file);
/// The display scale.
ZEL_API CGFloat bakingScaleFactor();
} // namespace ZelImageHelper

} // namespace zel
