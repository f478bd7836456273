#include "layer_pictures.h"
#include "layer_shape.h"
#include "layer_text.h"

#include <QPointer>

#include <algorithm>
#include <cmath>

using namespace zel;

namespace {

using Layer = ZelComposer::Layer;

// A document may ask for a layer of any size; beyond these nothing is drawn.
constexpr double longestSide = 16'384, largestArea = 64e6; // pixels

struct Pixels {
    std::int64_t width, height;
};

std::optional<Pixels> pixelsOf(CGSize size, double pixelsAcross)
{
    const double width = std::round(size.width * pixelsAcross), height = std::round(size.height * pixelsAcross);
    // Figures that are no numbers fail each comparison.
    if (!(width >= 1 && height >= 1 && width <= longestSide && height <= longestSide && width * height <= largestArea))
        return std::nullopt;
    return Pixels{static_cast<std::int64_t>(width), static_cast<std::int64_t>(height)};
}

Ref<ZelImage> openPicture(const Layer::Image& image, const ZelShareApp& store)
{
    const std::optional<std::string>& id = image.resourceAccess.shareAppId;
    // Pictures of this program are in its store. Documents of others may name addresses; those are left alone.
    const std::optional<URL> file = id ? store.url({.forId = *id}).get() : std::nullopt;
    return file ? makeZelImage(*file) : nullptr;
}

} // namespace

CGSize sizeOf(const Layer& layer, const ZelComposer& composer)
{
    const Layer::Transform::Scale scale = layer.transform.scale;
    switch (layer.layerType) {
    case Layer::LayerType::image:
        return imageActualNormalizedSize(layer, {.in = composer});
    case Layer::LayerType::text: {
        const CGSize words = sizeOfText(layer.text);
        return {words.width * scale.x, words.height * scale.y};
    }
    case Layer::LayerType::shape:
        break;
    }
    return {scale.x, scale.y};
}

Ref<ZelImage> drawLayer(const Layer& layer, const ZelComposer& composer, const ZelShareApp& store, double pixelsAcross)
{
    const std::optional<Pixels> pixels = pixelsOf(sizeOf(layer, composer), pixelsAcross);
    if (!pixels)
        return nullptr;
    switch (layer.layerType) {
    case Layer::LayerType::text:
        return drawText(layer.text, pixels->width, pixels->height);
    case Layer::LayerType::shape: {
        Layer::Shape shape = layer.shape;
        shape.style.strokeWidth *= pixelsAcross;
        return drawShape(shape, pixels->width, pixels->height);
    }
    case Layer::LayerType::image:
        break;
    }
    return resize(openPicture(layer.image, store),
                  {.to = {static_cast<CGFloat>(pixels->width), static_cast<CGFloat>(pixels->height)}});
}

LayerPictures::LayerPictures(Ref<ZelShareApp> store, QObject* parent) : QObject(parent), store_(std::move(store)) {}

bool LayerPictures::Entry::operator==(const Entry& other) const
{
    return layer == other.layer && ratio == other.ratio && pixelsAcross == other.pixelsAcross;
}

Ref<ZelImage> LayerPictures::picture(const Layer& layer, const ZelComposer& composer)
{
    Entry& entry = entries_[layer.id];
    Entry wanted{layer, composer.ratio, pixelsAcross_, entry.picture};
    wanted.layer.transform.location = {};
    wanted.layer.transform.opacity = 1;
    if (entry == wanted)
        return entry.picture;
    entry = std::move(wanted);
    if (layer.layerType == Layer::LayerType::image)
        makeInBackground(entry, composer);
    else
        entry.picture = drawLayer(layer, composer, *store_, pixelsAcross_); // a few milliseconds
    return entry.picture;
}

void LayerPictures::makeInBackground(const Entry& wanted, const ZelComposer& composer)
{
    ++inBackground_;
    Queue::execute({.fast = true}, [self = QPointer<LayerPictures>(this), store = store_, wanted, composer] {
        Entry made = wanted;
        made.picture = drawLayer(made.layer, composer, *store, made.pixelsAcross);
        XMain::execute([self, made] {
            if (!self)
                return;
            --self->inBackground_;
            const auto found = self->entries_.find(made.layer.id);
            if (found != self->entries_.end() && found->second == made)
                found->second.picture = made.picture;
            emit self->ready();
        });
    });
}

void LayerPictures::keepOnly(const ZelComposer& composer)
{
    std::erase_if(entries_, [&](const auto& entry) {
        return std::none_of(composer.layerList.begin(), composer.layerList.end(),
                            [&](const Layer& layer) { return layer.id == entry.first; });
    });
}
