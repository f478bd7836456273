#pragma once
#include <zel/zel.h>

// Words are set by Qt: the library keeps them, but sets none. A font of 1000 points is as high as a composition is
// wide.

/// In widths of the composition, before the layer's scale.
zel::CGSize sizeOfText(const zel::ZelComposer::Layer::Text& text);
/// The words, stretched to that many pixels. Any thread.
zel::Ref<zel::ZelImage> drawText(const zel::ZelComposer::Layer::Text& text, std::int64_t width, std::int64_t height);
