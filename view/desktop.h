#pragma once
#include <zel/export.h>

namespace zel::Desktop {

/// Joins the library to the Qt application that runs: Qt's main loop becomes the main runner (`XMain`; it always
/// queues), its screens the display scale (`Screens`), its resources the last place in which named images are looked
/// for, and its icon theme the source of file icons. On the main thread, once the QApplication is there; the first view
/// does it too. Does nothing without an application, or where it is done. The end of the application ends it: what
/// is meant for the main thread is then dropped.
ZEL_API void join();

} // namespace zel::Desktop
