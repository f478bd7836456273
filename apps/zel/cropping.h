#pragma once
#include "arguments.h"

#include <zel/core/image.h>

namespace zel::program {

/// The area that a crop keeps: a rectangle, or from the middle.
struct CroppingOptions {
    std::optional<CGRect> rect;
    std::optional<double> aspect;
    std::optional<double> zoom;

    void declare(Arguments& arguments);
    /// Refuses flags that contradict each other, and none at all.
    void check() const;
    /// In a picture of that size, in pixels from the top left; may reach beyond it.
    [[nodiscard]] CGRect areaOf(CGSize picture) const;
};

double readZoom(std::string_view text);

} // namespace zel::program
