#pragma once
#include <zel/export.h>
#include <zel/platform/filters/ci_image.h>
#include <zel/platform/foundation/url.h>
#include <zel/platform/images/ns_image.h>

namespace zel {

struct ZelImageMetadata {
    struct Item {
        std::string key, value;
        friend bool operator==(const Item&, const Item&) = default;
    };
    std::vector<Item> metadata;
    friend bool operator==(const ZelImageMetadata&, const ZelImageMetadata&) = default;
};

/// The image object of the library. Setting a field changes that field alone.
class ZelImage {
public:
    enum class ScaleMode;            // operations/resize.h
    enum class JoinOrientation;      // operations/crop.h
    enum class RotationDirection;    // operations/rotate.h
    struct KeyColor;                 // operations/chroma.h

    std::string id;
    Ref<NSImage> image;
    CGSize size;                     ///< pixels
    Ref<const CGImage> cgImage;
    ZelImageMetadata metadata;

    Ref<const CIImage> ciImage();             ///< built once and kept; null without pixels
    Ref<NSBitmapImageRep> bitmapRep();        ///< built once and kept; null without pixels
    void setSize();
    void getFrame();

    Ref<const CIImage> ciImage_;              ///< the cache behind ciImage()

    ZelImage();
    ZelImage(const ZelImage&) = delete;
    ZelImage& operator=(const ZelImage&) = delete;

private:
    struct State;
    Ref<State> state_;
};

struct NoTimeOut { bool noTimeOut = false; };
struct DontCreateAuxiliaryVars { bool dontCreateAuxiliaryVars = false; };
struct FastUrl { URL fastUrl; };
struct FromCIImage { Ref<const CIImage> ciImage; };
struct NamedImage { std::string named; };
struct BlankSize { CGSize size; };
struct NotBakedNormalizedSize { CGSize notBakedNormalizedSize; };

Ref<ZelImage> makeZelImage(const URL& file, NoTimeOut options = {});
Ref<ZelImage> makeZelImage(FastUrl file);
Ref<ZelImage> makeZelImage(const Ref<NSImage>& image, DontCreateAuxiliaryVars options = {});
Ref<ZelImage> makeZelImage(const Data& encoded, DontCreateAuxiliaryVars options = {});
Ref<ZelImage> makeZelImage(const Ref<const CGImage>& image);
Ref<ZelImage> makeZelImage(const Ref<const CIImage>& image);
Ref<ZelImage> makeZelImage(FromCIImage image);
Ref<ZelImage> makeZelImage(NamedImage name);
Ref<ZelImage> makeZelImage(BlankSize size);
Ref<ZelImage> makeZelImage(NotBakedNormalizedSize size);

Ref<const CGImage> getCGImage(const Ref<const CIImage>& image);

namespace ZelImageHelper {
struct LoadUrl { URL url; };
Ref<ZelImage> load(LoadUrl file);
CGFloat bakingScaleFactor();
} // namespace ZelImageHelper

} // namespace zel
