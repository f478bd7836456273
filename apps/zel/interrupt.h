#pragma once

namespace zel::program {

/// From now on SIGINT, SIGTERM and SIGHUP ask the work to stop instead of ending the process; a second one ends it.
/// Closed pipes and size limits become errors of the call that meets them.
void catchInterrupts();
/// True once one has come.
bool interrupted();

} // namespace zel::program
