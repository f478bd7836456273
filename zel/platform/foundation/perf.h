#pragma once
#include <functional>
#include <string_view>
#include <zel/export.h>

namespace zel::PerfAn {

/// Brackets a named piece of work. Nothing is measured until a host asks for it.
void start(std::string_view name);
void end();
void setObserver(std::function<void(std::string_view name, double seconds)> observer);

} // namespace zel::PerfAn
