#pragma once
#include <zel/export.h>
#include <zel/core/image.h>
#include <zel/platform/foundation/coding.h>
#include <zel/platform/services/services.h>

namespace zel {

enum class ZelSpatialConforming { none, fit, fill };

struct ZelCanvasLayer {
    enum class LayerType { image };
    struct Source {
        enum class Identification { url, shareAppId, image };
        Identification identification = Identification::url;
        std::optional<URL> url = {};
        std::optional<std::string> shareAppId = {};
        Ref<ZelImage> image = {};
    };
    struct Transform {
        CGPoint anchor{0.5, 0.5};
        CGPoint position{0.5, 0.5};
        double scale = 1;
        double opacity = 1;
    };
    struct Fields {
        std::string id;
        LayerType type = LayerType::image;
        Source source = {};
        ZelSpatialConforming spatialConforming = ZelSpatialConforming::fill;
        Transform transform = {};
    };
    struct On { Ref<ZelImage> on; };

    explicit ZelCanvasLayer(Fields fields);
    Ref<ZelImage> draw(On base) const;

    std::string id;
    LayerType type;
    Source source;
    ZelSpatialConforming spatialConforming;
    Transform transform;
    Ref<ZelImage> image;
};

struct ZelCanvas {
    struct Size {
        std::int64_t width = 0, height = 0;
        Size() = default;
        Size(std::int64_t width, std::int64_t height) : width(width), height(height) {}
        explicit Size(CGSize size);
        CGSize cg() const;
        friend bool operator==(const Size&, const Size&) = default;
    };
    struct ShareApp { Ref<ZelShareApp> shareApp; };
    struct WithImage { Ref<ZelImage> withImage; double fitInRatio; };
    struct FitImage { Ref<ZelImage> image; double inRatio; };

    explicit ZelCanvas(Size size, ShareApp shareApp = {});
    explicit ZelCanvas(WithImage image);
    static Ref<ZelImage> fit(FitImage image);
    std::future<void> loadAllLayers();          ///< the canvas must stay where it is until the future is ready
    void drawLayers();
    Ref<ZelImage> getImage();

    Size size;
    std::vector<ZelCanvasLayer> layerList;
    Ref<ZelShareApp> shareApp;
    Ref<ZelImage> image;
};

} // namespace zel
