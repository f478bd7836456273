#include <zel/composition/manager_record.h>

#include <zel/composition/composer_json.h>

#include <algorithm>
#include <array>
#include <bit>
#include <iterator>

namespace zel {

template <>
struct JsonForm<ManagerRecord> {
    static OrderedJson write(const ManagerRecord& value, const JsonPath& path)
    {
        return JsonObject(path)
            .field("configurationName", value.configurationName)
            .field("composerList", value.composerList)
            .optionalField("selectedComposerId", value.selectedComposerId)
            .take();
    }
    static ManagerRecord read(const JsonReader& in)
    {
        auto name = in.required<std::string>("configurationName");
        auto list = in.required<std::vector<ZelComposer>>("composerList");
        return {std::move(name), std::move(list), in.optional<std::string>("selectedComposerId")};
    }
};

std::string textOf(const ManagerRecord& record)
{
    return encodeJson(record);
}
ManagerRecord recordOf(std::string_view text)
{
    return decodeJson<ManagerRecord>(text);
}

namespace {

using Layer = ZelComposer::Layer;

/// The numbers of a layer by their bits: -0 equals 0, but is written in another way.
auto bitsOf(const Layer& layer)
{
    const ZelColor& fill = layer.shape.style.fillColor;
    const ZelColor& ink = layer.text.color;
    const Layer::Transform& transform = layer.transform;
    return std::bit_cast<std::array<std::uint64_t, 17>>(std::array<double, 17>{
        layer.image.ratio, layer.shape.style.strokeWidth, fill.red, fill.green, fill.blue, fill.alpha,
        layer.text.font.size, ink.red, ink.green, ink.blue, ink.alpha, transform.location.x, transform.location.y,
        transform.scale.x, transform.scale.y, transform.rotation, transform.opacity});
}

bool isWrittenAlike(const Layer& one, const Layer& other)
{
    return one == other && bitsOf(one) == bitsOf(other);
}

} // namespace

void RecordText::bringUpToDate(KeptLayers& kept, const std::vector<Layer>& layers)
{
    // One layer changes, or comes, or goes: what stands before and behind it is the same as before.
    const std::size_t most = std::min(kept.size(), layers.size());
    std::size_t before = 0, behind = 0;
    while (before < most && isWrittenAlike(kept[before].layer, layers[before]))
        ++before;
    while (behind < most - before &&
           isWrittenAlike(kept[kept.size() - 1 - behind].layer, layers[layers.size() - 1 - behind]))
        ++behind;
    std::size_t next = before;
    for (; next < most - behind; ++next)
        kept[next] = {layers[next], encode(layers[next])};
    const auto place = kept.begin() + static_cast<std::ptrdiff_t>(next);
    if (kept.size() > layers.size()) {
        kept.erase(place, place + static_cast<std::ptrdiff_t>(kept.size() - layers.size()));
        return;
    }
    KeptLayers more;
    for (; next < layers.size() - behind; ++next)
        more.push_back({layers[next], encode(layers[next])});
    kept.insert(place, std::make_move_iterator(more.begin()), std::make_move_iterator(more.end()));
}

std::string RecordText::assembled(const ManagerRecord& record)
{
    if (composers_.size() > record.composerList.size())
        std::erase_if(composers_, [&record](const auto& kept) {
            return std::none_of(record.composerList.begin(), record.composerList.end(),
                                [&kept](const ZelComposer& composer) { return composer.id == kept.first; });
        });
    std::string text = R"({"configurationName":)" + encodeJson(record.configurationName) + R"(,"composerList":[)";
    bool isFirst = true;
    for (const ZelComposer& composer : record.composerList) {
        KeptLayers& kept = composers_[composer.id];
        bringUpToDate(kept, composer.layerList);
        const ComposerFrame frame = frameOf(composer);
        text.append(isFirst ? "" : ",").append(frame.beforeLayers);
        for (const KeptLayer& layer : kept)
            text.append(&layer == kept.data() ? "" : ",").append(layer.text);
        text.append(frame.behindLayers);
        isFirst = false;
    }
    text += ']';
    if (record.selectedComposerId)
        text += R"(,"selectedComposerId":)" + encodeJson(*record.selectedComposerId);
    return text += '}';
}

std::string RecordText::of(const ManagerRecord& record)
try {
    return assembled(record);
} catch (const ZelEncodingError&) {
    return textOf(record); // whose error names the place in the whole
}

} // namespace zel
