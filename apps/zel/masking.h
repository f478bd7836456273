#pragma once
#include "pictures.h"

namespace zel::program {

/// What of a mask says how much is seen.
enum class MaskBy { brightness, alpha };
MaskBy readMaskBy(std::string_view text);

/// Gives pictures the transparency that the file tells. Nothing, with the reason noted, where the file is no picture.
PictureStep maskStep(const std::string& file, MaskBy by);

} // namespace zel::program
