#pragma once
#include <zel/engine/pixels.h>

namespace zel::engine {

struct Color {
    std::uint8_t red = 0, green = 0, blue = 0;
};

/// A colour and how far from it others still belong to it.
struct ColorKey {
    Color color;
    int mostSquare = 0; ///< of the sum of squared differences of red, green and blue; below 0 nothing belongs
};

/// Where the alpha of a pixel of four bytes stands.
struct PixelOrder {
    bool fromAlphaFirst = false;
    bool fromIsOpaque = false; ///< the stored alpha says nothing and counts as 255
    bool toAlphaFirst = false;
};

/// Copies pixels in the order asked for. Alpha becomes 0 where the sum of squared differences to the key's colour is at
/// most `mostSquare`; colours stay as they are stored. Reads and writes the pixels alone; `to` may be `from`.
void keyRows(const ConstPixels& from, const Pixels& to, PixelOrder order, const ColorKey& key);
void keyRowsReference(const ConstPixels& from, const Pixels& to, PixelOrder order, const ColorKey& key);

/// Copies alpha and writes the colour beside it.
void paintRows(const ConstPixels& from, const Pixels& to, PixelOrder order, Color color);
void paintRowsReference(const ConstPixels& from, const Pixels& to, PixelOrder order, Color color);

} // namespace zel::engine
