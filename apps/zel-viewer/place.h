#pragma once
#include <zel/platform/foundation/url.h>

#include <QString>

#include <optional>

namespace zel::viewer {

/// Where a picture comes from.
struct Place {
    URL address;  ///< of a file, or of the web
    int page = 0; ///< of a document, from 0
    friend bool operator==(const Place&, const Place&) = default;
};

/// What a person wrote or dropped: the path of a file, or an address of the web. Absent where it is neither.
std::optional<Place> placeOf(const QString& text);
QString pathOf(const Place& place); ///< of a file; empty for the web
QString nameOf(const Place& place); ///< short, for titles

} // namespace zel::viewer
