#pragma once
#include <zel/platform/foundation/byte_source.h>

#include <optional>

namespace zel {

/// What is done to a JPEG file whose coded data stay: no pixel is decoded, nothing is rounded again.
struct JpegChange {
    /// Of the upright picture as a person sees it, origin top left, pixels.
    struct Area {
        int x = 0, y = 0, width = 0, height = 0;
    };
    std::optional<Area> area = {}; ///< what is kept; taken before turning
    int quarterTurns = 0;          ///< clockwise, 0 to 3
    bool mirror = false;           ///< left to right, after turning
    bool trim = false;             ///< give up edges that cannot be turned, up to 15 pixels, in place of refusing
    std::optional<double> dpi = {};
};

/// The changed file. Profile and other segments stay; a picture that is turned stands upright in its file and has no
/// thumbnail left, one that is cut keeps its orientation. Coding is Huffman's with tables made to measure, progressive
/// where it was. Nothing to turn or to cut: the file's own bytes but for the resolution. Absent with the reason noted:
/// `unsupported` where the file is no JPEG or a side that would come first is no whole number of coding units,
/// `invalidArgument` where the area is outside or begins within a unit, `truncated` where the file is not whole.
std::optional<Data> changeJpeg(const Ref<const ByteSource>& source, const JpegChange& change);

} // namespace zel
