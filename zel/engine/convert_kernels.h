#pragma once
#include <zel/engine/pixels.h>

namespace zel::engine {

/// One pass over the pixels of a conversion, as `convert` describes it.
struct Conversion {
    enum class Step { keep, premultiply, divide };
    int fromBytes = 1; ///< a component
    int toBytes = 1;
    bool fromAlphaFirst = false;
    bool toAlphaFirst = false;
    Step step = Step::keep;  ///< what happens to the colours
    bool makeOpaque = false; ///< writes alpha as opaque, after the step
};

/// Converts all rows of `from` into those of `to`, which has the same size. Reads and writes nothing outside the
/// pictures. `to` may be `from` where the components have one size.
void convertRows(const Conversion& conversion, const ConstPixels& from, const Pixels& to);
void convertRowsReference(const Conversion& conversion, const ConstPixels& from, const Pixels& to);

} // namespace zel::engine
