#pragma once
#include "seeds.h"

// JPEG 2000 and JPEG XL, as their libraries write them; nothing where a library is not installed.
namespace zel::seeds {

/// Components of `sample(x, y, c)`, brought from 8 to `bits`, without loss.
struct Coded {
    std::string name = {};
    int width = 8, height = 8;
    int components = 3; ///< grey, grey and alpha, RGB, RGB and alpha
    int bits = 8;
    // JPEG 2000 alone
    bool isBoxed = true;
    bool isYcc = false;    ///< the components are Y, Cb, Cr, the latter two of half the sides
    bool isSigned = false; ///< half of the range is taken off
    int tile = 0;          ///< side of the tiles; 0 for one
    // JPEG XL alone
    int orientation = 1;
    int frames = 1;
    bool isLossy = false;
};

/// What a component is at a pixel: `sample` in so many bits.
int codedSample(const Coded& coded, int x, int y, int component);

Bytes encodeJpeg2000(const Coded& coded);
Bytes encodeJxl(const Coded& coded);

} // namespace zel::seeds
