#pragma once
#include "inputs.h"

#include <zel/platform/foundation/byte_source.h>
#include <zel/platform/foundation/properties.h>

#include <optional>

namespace zel::program {

/// The bytes of an input, of a file no more than is asked for; null with the reason noted.
Ref<const ByteSource> headerOf(const Input& input);

/// The properties of an input's first picture; absent with the reason noted.
std::optional<PropertyDictionary> propertiesOf(const Input& input);

/// When and where a photograph was taken.
struct ShotFacts {
    std::string date;               ///< "2021-07-04T15:30:00", the camera's own time; empty where none is told
    std::optional<double> lat, lon; ///< degrees without a hemisphere
};
/// What a file says of it; nothing where it says nothing.
ShotFacts shotFactsOf(const ByteSource& source);

} // namespace zel::program
