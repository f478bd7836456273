#pragma once
#include <zel/composition/manager_state.h>

namespace zel {

/// Writes the record, whose text is kept from time to time; what fails is noted.
void saveState(const ManagerRecord& record, RecordText& text);
/// Calls the observer of saves, where there is one.
void tellSaved();

} // namespace zel
