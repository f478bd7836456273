#pragma once
#include <zel/export.h>
#include <functional>
#include <string_view>

namespace zel::Console {

using Sink = std::function<void(std::string_view line)>;
/// Where the library's console lines go, without their line feed; standard output unless set. An empty sink drops them.
/// Gives the sink that was set before.
Sink setSink(Sink sink);
void print(std::string_view line);

} // namespace zel::Console
