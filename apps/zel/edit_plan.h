#pragma once
#include "edit_steps.h"

namespace zel::program {

/// What the steps will do to a picture, a line each: how it is decoded, the size after every step, and how much memory
/// pixels take at once at most.
std::string planText(const std::string& name, const Ref<ZelImage>& image, const std::vector<EditStep>& steps);

} // namespace zel::program
