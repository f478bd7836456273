#pragma once
#include <zel/platform/images/ns_image.h>

namespace zel {

/// A blank image to draw into that measures `points` and holds exactly `pixels` (rounded up to whole ones), whatever
/// the display scale: operations that are asked for a pixel size return it on every screen.
Ref<NSImage> makeTargetImage(CGSize points, CGSize pixels);

} // namespace zel
