#pragma once
#include <zel/platform/codecs/exif_block.h>
#include <zel/platform/foundation/byte_source.h>
#include <zel/platform/foundation/guards.h>

namespace zel {

/// What stands in the segments in front of a JPEG's first scan, beside what libjpeg reads itself.
struct JpegMarkers {
    ExifFacts exif;
    Data profile;                ///< the ICC profile, put together from its pieces; empty where there is none
    int pictures = 1;            ///< by the multi-picture index
    std::uint64_t firstScan = 0; ///< behind the marker that begins it; 0 where none was found
};

/// Walks the segments up to the first scan. Damage ends the walk: what was found before stands. A profile that is over
/// 4 MiB or lacks a piece is left out with a warning. False, and `limit` noted, where the deadline passed.
bool readJpegMarkers(const ByteSource& source, const Deadline& deadline, JpegMarkers& markers);

/// How many scans a file has, from its first one to the end of its picture. Finds them by their markers alone, at the
/// speed of memory.
int countJpegScans(std::span<const std::uint8_t> file, std::uint64_t firstScan);

} // namespace zel
