#pragma once
#include <zel/export.h>
#include <zel/platform/foundation/ref.h>

namespace zel {

/// The picture that `ZelLut::make` takes, encoded, from a file of any kind in which tables are passed around: such a
/// picture, which is handed back as it is; a .cube text (three dimensions, 2 to 129 a side, the domain 0 to 1); a Hald
/// picture, n³ square for n from 2 to 11, which holds a cube of n². Absent, with the reason noted, for anything else.
ZEL_API std::optional<Data> lutPicture(const Data& file);

} // namespace zel
