#pragma once
#include <zel/composition/manager_state.h>

namespace zel {

/// Writes the record; what fails is noted.
void saveState(const ManagerRecord& record);
/// Calls the observer of saves, where there is one.
void tellSaved();

} // namespace zel
