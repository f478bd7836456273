#pragma once
#include <zel/engine/tone.h>

namespace zel {

/// Linear light times 2^stops, from sRGB to sRGB, clipped at white, to nearest. 0 stops change nothing.
engine::ToneTable exposureTable(double stops);

} // namespace zel
