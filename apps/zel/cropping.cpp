#include "cropping.h"

#include "quantity.h"

#include <zel/core/geometry.h>

#include <algorithm>
#include <cmath>

namespace zel::program {

double readZoom(std::string_view text)
{
    constexpr double most = 1e6;
    return readNumber(text, 1, most);
}

void CroppingOptions::declare(Arguments& arguments)
{
    arguments.section("Area");
    arguments.value("--rect", "X,Y,W,H", rect, readRect, "from the top-left corner, in pixels");
    arguments.value("--aspect", "W:H", aspect, readRatio, "the largest area of that shape, in the middle");
    arguments.value("--zoom", "Z", zoom, readZoom,
                    "a part of it, so many times smaller (1); without --aspect in the picture's own shape");
}

void CroppingOptions::check() const
{
    if (rect && (aspect || zoom))
        throw UsageError("--rect says the area; --aspect and --zoom cannot be given as well");
    if (!rect && !aspect && !zoom)
        throw UsageError("no area", "--rect, --aspect or --zoom");
}

CGRect CroppingOptions::areaOf(CGSize picture) const
{
    if (rect)
        return *rect;
    const CGSize wanted =
        boundToInt(ZelImageHelper::getCroppingSize({.rect = {{0, 0}, picture},
                                                    .ratio = aspect.value_or(picture.width / picture.height),
                                                    .zoom = zoom.value_or(1)}));
    const CGSize size{std::clamp(wanted.width, 1.0, picture.width), std::clamp(wanted.height, 1.0, picture.height)};
    return {{std::floor((picture.width - size.width) / 2), std::floor((picture.height - size.height) / 2)}, size};
}

} // namespace zel::program
