#pragma once
#include "place.h"

#include <zel/core/image.h>

#include <QList>

namespace zel::viewer {

struct Fact {
    QString name, value;
    friend bool operator==(const Fact&, const Fact&) = default;
};

/// What there is to know of a picture: its size; of a file also when and where it was taken, with what, its resolution,
/// colours and bytes. Reads the file's properties, no pixels.
QList<Fact> factsOf(const Place& place, int pages, const Ref<ZelImage>& picture);

} // namespace zel::viewer
