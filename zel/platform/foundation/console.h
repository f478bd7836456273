#pragma once
#include <zel/export.h>

#include <functional>
#include <string_view>

namespace zel::Console {

/// Takes one line without its line feed; called on whichever thread prints. Must not throw.
using Sink = std::function<void(std::string_view line)>;
/// Where the library's console lines go; standard output unless set. An empty sink drops them. Gives the sink that was
/// set before, for putting it back.
ZEL_API Sink setSink(Sink sink);
/// One line, whole: lines of several threads never mix on standard output.
ZEL_API void print(std::string_view line);
/// False while lines are dropped, so that nobody needs to work out what they would say.
ZEL_API bool isHeard();

} // namespace zel::Console
