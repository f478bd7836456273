#pragma once
#include <zel/platform/foundation/url.h>
#include <zel/platform/images/ns_image.h>

namespace zel::FileIcons {

/// Gives the desktop's icon of a file, best for a size in points; null where it has none.
using Provider = std::function<Ref<NSImage>(const URL& file, CGSize size)>;
/// Installed by hosts with a desktop; empty, as from the beginning: there are no icons.
ZEL_API void setProvider(Provider provider);
/// Null with the reason noted.
Ref<NSImage> icon(const URL& file, CGSize size);

} // namespace zel::FileIcons
