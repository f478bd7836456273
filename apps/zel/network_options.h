#pragma once
#include "arguments.h"

#include <zel/platform/foundation/url.h>

#include <chrono>
#include <cstdint>

namespace zel::program {

/// What transfers may cost, and where addresses may lead.
struct NetworkOptions {
    std::optional<std::int64_t> maxDownload;
    std::optional<std::chrono::milliseconds> transferTime;
    bool publicOnly = false;
    bool allowPrivate = false;

    void declare(Arguments& arguments);
    /// Refuses flags that contradict each other.
    void check() const;
    /// Sets the library's limits and policy; after `LimitOptions::apply`.
    void apply() const;
};

/// An http or https address, or that of a file ("file:///photo.jpg"); throws UsageError for all else.
URL readAddress(std::string_view text);

} // namespace zel::program
