#pragma once
#include <zel/platform/foundation/url.h>

namespace zel {

/// The text of a file; absent, with the reason noted, where it cannot be read.
std::optional<std::string> readText(const URL& file);
bool writeText(const URL& file, const std::string& text, bool sync);
/// Whether anything stands there; links are not followed.
bool somethingStandsAt(const URL& file);
/// Renames what is no document to a free name of its own and notes it as a failure, with the reason; true where the
/// place is free then.
bool setAside(const URL& file, const std::string& reason);
/// What was written to a file, and its name, brought to the disk; false with the reason noted.
bool syncFileAndFolder(const URL& file);

} // namespace zel
