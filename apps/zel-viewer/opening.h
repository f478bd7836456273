#pragma once
#include "facts.h"

namespace zel::viewer {

/// A picture that was opened, or why there is none.
struct Opened {
    Place place;
    int pages = 1;              ///< of the document; 1 for pictures
    Ref<ZelImage> picture = {}; ///< null where it cannot be shown; not decoded before something needs all of it
    Ref<ZelImage> reduced = {}; ///< the same at the size of a screen at most; what edits are shown on at once
    double scale = 1;           ///< its sides in parts of the picture's
    QList<Fact> facts = {};
    QString message = {}; ///< why there is no picture, or what is wrong with it
};

/// Reads a picture, a page of a document, a drawing, or what an address of the web gives, and reduces it to at most
/// `longestSide` pixels. For a background thread: files and servers may be slow. Strangers' pictures are held to the
/// limits for them.
Opened open(const Place& place, double longestSide);

} // namespace zel::viewer
