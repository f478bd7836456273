#include "grading.h"

#include <zel/operations/lut_files.h>

namespace zel::program {

std::optional<ZelLut> readLut(const std::string& file)
{
    const auto bytes = Data::read(URL::file(file));
    const auto picture = bytes ? lutPicture(*bytes) : std::nullopt;
    return picture ? ZelLut::make(*picture) : std::nullopt;
}

} // namespace zel::program
