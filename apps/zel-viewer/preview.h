#pragma once
#include "edit_chain.h"
#include "opening.h"

#include <QImage>

namespace zel::viewer {

/// An edited picture wanted on the screen.
struct PreviewOrder {
    EditChain chain;
    CGSize shown; ///< how large all of it appears, in pixels of the screen
    friend bool operator==(const PreviewOrder&, const PreviewOrder&) = default;
};

/// What is shown of it.
struct Preview {
    EditChain chain;
    CGSize size;           ///< of the edited full picture, in pixels
    QImage pixels;         ///< the whole of it at the size of the screen or less; null where an edit failed
    Ref<ZelImage> picture; ///< the same before it was brought to the screen's size
    QString message;       ///< why there are no pixels
};

/// From which of an opened picture's two sizes a preview is made.
enum class From { reduced, full };

/// Whether the reduced picture has as many pixels as the screen shows.
bool reducedServes(const Opened& opened, const PreviewOrder& order);

/// Never larger than what is edited: enlarging is left to whoever paints. For a background thread.
Preview previewOf(const Opened& opened, const PreviewOrder& order, From from);

} // namespace zel::viewer
