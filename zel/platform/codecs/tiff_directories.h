#pragma once
#include <zel/platform/foundation/byte_source.h>

namespace zel::tiff {

inline constexpr int mostDirectories = 4096;

struct Directories {
    int count = 0;          ///< that lie within the file, each counted once
    bool endsEarly = false; ///< one lies past the end of the file
};

/// Follows the chain of directories (classic or 64-bit) from the header on, up to `most`; a chain that returns to where
/// it was ends there.
Directories countDirectories(const ByteSource& source, int most = mostDirectories);

} // namespace zel::tiff
