#pragma once
#include <zel/export.h>

#include <functional>
#include <string_view>

namespace zel::PerfAn {

/// Brackets a named piece of work on this thread; brackets nest. Nothing is measured until a host asks for it.
ZEL_API void start(std::string_view name);
ZEL_API void end();
/// Is told the name and the wall time of every bracket that begins and ends from now on, on the thread that did the
/// work, also of several at once; an empty one ends the measuring.
ZEL_API void setObserver(std::function<void(std::string_view name, double seconds)> observer);

/// The bracket of a scope.
class Scope {
public:
    explicit Scope(std::string_view name) { start(name); }
    ~Scope() { end(); }
    Scope(const Scope&) = delete;
    Scope& operator=(const Scope&) = delete;
};

} // namespace zel::PerfAn
