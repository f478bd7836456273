#pragma once
#include <zel/composition/composer.h>
#include <zel/platform/foundation/json_coding.h>

namespace zel {

/// For the records that contain composers.
template <>
struct JsonForm<ZelComposer> {
    static OrderedJson write(const ZelComposer& value, const JsonPath& path);
    static ZelComposer read(const JsonReader& in);
};

/// The text of a composer without those of its layers.
struct ComposerFrame {
    std::string beforeLayers, behindLayers; ///< `{…"layerList":[` and `],…}`
};
/// With the texts of the layers between, divided by commas, it is what `encode` gives. Throws ZelEncodingError.
ComposerFrame frameOf(const ZelComposer& composer);

} // namespace zel
