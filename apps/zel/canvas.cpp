#include "json_inputs.h"
#include "pictures.h"

#include <zel/composition/canvas.h>
#include <zel/platform/foundation/notes.h>

#include <fmt/format.h>

namespace zel::program {
namespace {

constexpr std::string_view examples = R"(Examples:
  zel canvas poster.json -o poster.png
  zel canvas card.json -o card.jpg --share-app store --strict
)";

constexpr std::string_view notes =
    R"(A canvas document is {"size":{"width":…,"height":…},"layerList":[…]}; its pictures are files
on this machine. Relative addresses count from the document's folder, those of standard
input from the current one. A layer whose picture is not found is named and left out; with
--strict nothing is drawn then.
)";

/// Where relative addresses of the document count from.
URL baseOf(const Input& input)
{
    return URL::file(input.isStandardInput() ? std::string("document.json") : input.name);
}

std::string sourceOf(const ZelCanvasLayer::Source& source)
{
    if (source.identification == ZelCanvasLayer::Source::Identification::shareAppId)
        return source.shareAppId.value_or("no identifier");
    return source.url ? source.url->absoluteString() : "no address";
}

Ref<ZelImage> drawn(const Input& input, const Ref<ZelShareApp>& store)
{
    auto canvas = decodeInput<ZelCanvas>(input, "canvas");
    if (!canvas)
        return nullptr;
    canvas->shareApp = store;
    for (auto& layer : canvas->layerList)
        if (layer.source.url)
            layer.source.url = layer.source.url->resolved(baseOf(input));
    canvas->loadAllLayers().get();
    for (const auto& layer : canvas->layerList)
        if (!layer.image)
            warn(ZelFailureCode::notFound, "canvas",
                 fmt::format("layer {} has found no picture: {}", layer.id, sourceOf(layer.source)));
    return canvas->getImage();
}

int run(const Verb& verb, Words words)
{
    PictureOptions options;
    std::optional<std::string> store;
    Arguments arguments(verb);
    arguments.section("Canvas");
    arguments.text("--share-app", "FOLDER", store, "the store of the pictures that layers name by identifier");
    options.declare(arguments);
    if (!arguments.parse(words))
        return 0;
    PictureWork work;
    work.prepare = [] { return [](const Ref<ZelImage>& image) { return image; }; };
    work.open = [store = store ? std::make_shared<ZelShareApp>(URL::file(*store)) : nullptr](const Input& input) {
        return drawn(input, store);
    };
    return runPictures(verb, options, work);
}

} // namespace

const Verb canvasVerb = {
    "canvas", "Draws a canvas document of layers", "DOCUMENT... -o OUTPUT [flags]", examples, notes, run,
};

} // namespace zel::program
