#pragma once
#include <zel/platform/codecs/jpeg_errors.h>
#include <zel/platform/graphics/pixel_provider.h>

namespace zel {

/// One of the eight ways in which a rectangle can lie: rows and columns change places first, or not; then it is
/// mirrored left to right, or not; then top to bottom, or not.
struct JpegTurn {
    bool transpose = false, mirrorX = false, mirrorY = false;

    [[nodiscard]] bool isNone() const { return !transpose && !mirrorX && !mirrorY; }
    friend bool operator==(const JpegTurn&, const JpegTurn&) = default;
};

/// What makes a stored picture upright.
JpegTurn turnOf(Orientation orientation);
JpegTurn quarterTurns(int clockwise);
/// First `first`, then `second`.
JpegTurn joined(const JpegTurn& first, const JpegTurn& second);

/// The block of 64 coefficients of the turned block: columns of odd number count how often a row changes its sign from
/// left to right, so that a mirrored one has them negated; the same for rows.
void turnBlock(const JCOEF* from, const JpegTurn& turn, JCOEF* to);

} // namespace zel
