#pragma once
#include <zel/engine/tone.h>

namespace zel::engine {

/// Each row of `from` into that of `to`: colours become what the table says, alpha stays. Both have one size; reads and
/// writes nothing outside them. `to` may be `from`.
void toneRows(const ToneTable& table, const ConstPixels& from, const Pixels& to);
void toneRowsReference(const ToneTable& table, const ConstPixels& from, const Pixels& to);

} // namespace zel::engine
