#pragma once
#include <zel/core/image.h>
#include <zel/export.h>
#include <zel/platform/foundation/coding.h>
#include <zel/platform/services/services.h>

namespace zel {

/// How a layer is sized against its canvas: at its own pixel size, whole inside it, or covering it. Raw values and
/// display names "None", "Fit", "Fill".
enum class ZelSpatialConforming { none, fit, fill };

/// One picture of a canvas. JSON (lenient: a key that is missing, null or unreadable gets the value a new layer has):
/// {"id":…,"type":"Image","source":{…},"spatialConforming":"Fill","transform":{…}}; the loaded picture is not stored.
struct ZEL_API ZelCanvasLayer {
    enum class LayerType { image }; ///< "Image"
    /// JSON: "identification" required, "url" and "shareAppId" where they are set.
    struct Source {
        enum class Identification { url, shareAppId, image }; ///< "url", "shareAppId", "image"
        Identification identification = Identification::url;
        std::optional<URL> url = {};
        std::optional<std::string> shareAppId = {};
        Ref<ZelImage> image = {}; ///< not stored
    };
    /// JSON: all keys required, points as [x, y].
    struct Transform {
        CGPoint anchor{0.5, 0.5};   ///< stored, without effect
        CGPoint position{0.5, 0.5}; ///< of the layer's centre, in canvas widths and heights from the lower left
        double scale = 1;           ///< times the conformed size
        double opacity = 1;
    };
    struct Fields {
        std::string id;
        LayerType type = LayerType::image;
        Source source = {};
        ZelSpatialConforming spatialConforming = ZelSpatialConforming::fill;
        Transform transform = {};
    };
    struct On {
        Ref<ZelImage> on;
    };

    explicit ZelCanvasLayer(Fields fields); ///< `image` is the source's
    /// A picture of the base's pixel size: the base with the layer drawn over it. The base itself where the layer has
    /// no image, or where nothing can be drawn (noted).
    Ref<ZelImage> draw(On base) const;

    std::string id;
    LayerType type;
    Source source;
    ZelSpatialConforming spatialConforming;
    Transform transform;
    Ref<ZelImage> image; ///< null until loaded
};

/// A layered picture of a fixed pixel size, drawn into one image. JSON (lenient): {"size":{"width":512,"height":512},
/// "layerList":[…]}; a missing or unreadable size is 512 × 512, a missing or unreadable list is empty.
struct ZEL_API ZelCanvas {
    /// JSON: {"width":…,"height":…}, integers, both required.
    struct ZEL_API Size {
        std::int64_t width = 0, height = 0;
        Size() = default;
        Size(std::int64_t columns, std::int64_t rows) : width(columns), height(rows) {}
        explicit Size(CGSize size); ///< truncated
        CGSize cg() const;
        friend bool operator==(const Size&, const Size&) = default;
    };
    struct ShareApp {
        Ref<ZelShareApp> shareApp;
    };
    struct WithImage {
        Ref<ZelImage> withImage;
        double fitInRatio; ///< without effect: the canvas is square
    };
    struct FitImage {
        Ref<ZelImage> image;
        double inRatio; ///< without effect
    };

    explicit ZelCanvas(Size size, ShareApp shareApp = {});
    /// A square as long as the image's longer side, the image in its middle at its own size.
    explicit ZelCanvas(WithImage image);
    /// That canvas, drawn.
    static Ref<ZelImage> fit(FitImage image);
    /// Loads the pictures of the layers that have none, from their files or the share-app store; a layer whose picture
    /// cannot be had stays without (noted). The canvas must stay where it is until the future is ready.
    std::future<void> loadAllLayers();
    /// Draws every layer over `image`, in order; called again, it draws them once more.
    void drawLayers();
    Ref<ZelImage> getImage(); ///< draws, then gives `image`

    Size size;
    std::vector<ZelCanvasLayer> layerList;
    Ref<ZelShareApp> shareApp; ///< not stored
    Ref<ZelImage> image;       ///< blank at first; not stored
};

template <>
inline constexpr auto enumCases<ZelSpatialConforming> = std::to_array<EnumCase<ZelSpatialConforming>>({
    {ZelSpatialConforming::none, "None"},
    {ZelSpatialConforming::fit, "Fit"},
    {ZelSpatialConforming::fill, "Fill"},
});
template <>
inline constexpr auto enumCases<ZelCanvasLayer::LayerType> = std::to_array<EnumCase<ZelCanvasLayer::LayerType>>({
    {ZelCanvasLayer::LayerType::image, "Image"},
});
template <>
inline constexpr auto enumCases<ZelCanvasLayer::Source::Identification> =
    std::to_array<EnumCase<ZelCanvasLayer::Source::Identification>>({
        {ZelCanvasLayer::Source::Identification::url, "url"},
        {ZelCanvasLayer::Source::Identification::shareAppId, "shareAppId"},
        {ZelCanvasLayer::Source::Identification::image, "image"},
    });

template <>
ZEL_API std::string encode(const ZelCanvas& value);
template <>
ZEL_API ZelCanvas decode(std::string_view text);
template <>
ZEL_API std::string encode(const ZelCanvas::Size& value);
template <>
ZEL_API ZelCanvas::Size decode(std::string_view text);
template <>
ZEL_API std::string encode(const ZelCanvasLayer& value);
template <>
ZEL_API ZelCanvasLayer decode(std::string_view text);
template <>
ZEL_API std::string encode(const ZelCanvasLayer::Source& value);
template <>
ZEL_API ZelCanvasLayer::Source decode(std::string_view text);
template <>
ZEL_API std::string encode(const ZelCanvasLayer::Transform& value);
template <>
ZEL_API ZelCanvasLayer::Transform decode(std::string_view text);

} // namespace zel
