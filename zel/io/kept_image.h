#pragma once
#include <zel/core/image.h>

namespace zel {

/// The picture of a PNG or JPEG file that the library wrote for itself; null, without a note, where there is none, or
/// where it does not end as such a file does: what was cut short is better made again.
Ref<ZelImage> keptImage(const URL& file);

} // namespace zel
