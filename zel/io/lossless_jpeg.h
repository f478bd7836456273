#pragma once
#include <zel/export.h>
#include <zel/platform/foundation/ref.h>

#include <optional>

namespace zel {

/// Changes to a JPEG file that keep its coded data: `changeJpegLosslessly(file, {.turn = 90})`.
struct LosslessChange {
    /// Pixels of the upright picture, origin top left.
    struct Area {
        int x = 0, y = 0, width = 0, height = 0;
    };
    std::optional<Area> crop = {};  ///< what is kept; its corner that is stored first must lie between blocks
    int turn = 0;                   ///< degrees clockwise, a multiple of 90; after cropping
    bool mirror = false;            ///< left to right; after turning
    bool trim = false;              ///< leave out edges that cannot be turned, up to 15 pixels, else refuse
    std::optional<double> dpi = {}; ///< the resolution to record, above 0
};

/// The file turned, cut or with another resolution: no pixel is decoded and coded anew, so that no change loses
/// anything, and four quarter turns give the picture again. Profile and metadata stay; a turned file stands upright
/// (orientation 1), a cropped one keeps its orientation; either loses its thumbnail. With nothing to turn or to crop,
/// everything but the resolution stays byte for byte. Absent with the reason noted: `unsupported` where the file is no
/// JPEG or an edge cannot be turned (its side is no multiple of the blocks' 8 or 16 pixels), `invalidArgument` where
/// the crop is outside or begins within a block, or `turn` or `dpi` make no sense, `truncated` where the file is not
/// whole. Cost: about a third of decoding and encoding.
ZEL_API std::optional<Data> changeJpegLosslessly(const Data& file, const LosslessChange& change);

} // namespace zel
