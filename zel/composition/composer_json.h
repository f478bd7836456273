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

} // namespace zel
