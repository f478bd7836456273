#pragma once
#include <zel/zel.h>

/// The pictures that the recipes work on, drawn pixel by pixel.
namespace cookbook {

zel::Ref<zel::ZelImage> seaside(int height, double slope = 0); ///< 3 : 2; `slope` in degrees clockwise
zel::Ref<zel::ZelImage> balloon();                             ///< before a green screen
zel::Ref<zel::ZelImage> shapes();                              ///< five of them on white paper
zel::Ref<zel::ZelImage> logo();                                ///< on a transparent ground

} // namespace cookbook
