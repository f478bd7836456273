#pragma once
#include <zel/engine/pixels.h>
#include <zel/platform/filters/expression.h>

#include <span>

namespace zel {

/// Filters that look at one pixel at a time, run one after the other over strips of rows that stay in the caches.
class PointFilters {
public:
    /// None.
    PointFilters() = default;
    /// The first ones of `filters`, up to one that sees neighbours; what is taken is taken away.
    explicit PointFilters(std::span<const Filter>& filters);

    [[nodiscard]] bool empty() const { return filters_.empty(); }
    /// RGBA, 8 bits, straight or opaque, in place, on the calling thread.
    void applyToStrip(const engine::Pixels& strip) const;
    /// Premultiplied pixels, in place, over all cores.
    void apply(const engine::Pixels& pixels, bool opaque) const;

    /// Rows of a strip of that width.
    static int stripRows(int width);

private:
    std::span<const Filter> filters_;
};

} // namespace zel
