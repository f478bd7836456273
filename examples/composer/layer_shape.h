#pragma once
#include <zel/zel.h>

/// The shape as pixels, that many across and down, its edges smooth. An outline lies inside; `strokeWidth` is its width
/// in pixels.
zel::Ref<zel::ZelImage> drawShape(const zel::ZelComposer::Layer::Shape& shape, std::int64_t width, std::int64_t height);
