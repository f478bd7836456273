#pragma once
#include <zel/core/image.h>

namespace zel {

/// The picture of a file that the library keeps for itself; null, without a note, where there is none, or where it is a
/// PNG or JPEG that was cut short, which is better made again.
Ref<ZelImage> keptImage(const URL& file);

} // namespace zel
