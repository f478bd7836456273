#pragma once
#include "edit_steps.h"

namespace zel::program {

/// The steps of a recipe: {"version": 1, "steps": [{"do": "resize", "width": 800}, …]}, settings named as on the
/// command line; numbers, texts, true and false, and lists of numbers. docs/schema/recipe.schema.json describes it.
/// Throws UsageError: no such file, no JSON, a member that a recipe has not.
std::vector<StepWords> readRecipe(const std::string& file);

/// Replaces the file. False with the reason noted.
bool writeRecipe(const std::string& file, const std::vector<StepWords>& steps);

} // namespace zel::program
