#pragma once
#include <cstdint>

namespace zel::documents {

/// Gives up what rendering does not take, for good: descriptors beyond those of the protocol, memory beyond `bytes`,
/// new processes, sockets, files but those of fonts. False where that cannot be had; nothing of a document may be
/// looked at then.
bool lockDown(std::uint64_t bytes);

/// The processor time that this process may still take before it is ended; 0 = no end.
void allowSeconds(std::uint64_t seconds);

} // namespace zel::documents
