#include <zel/platform/codecs/heif_colors.h>

#include <algorithm>
#include <cmath>

namespace zel::heif {
namespace {

/// What single samples become.
std::vector<std::uint16_t> tableOf(int bits, bool isFullRange)
{
    const double most = (1 << bits) - 1, eighth = 1 << (bits - 8);
    const double black = isFullRange ? 0 : 16 * eighth, range = isFullRange ? most : 219 * eighth;
    const double full = bits == 8 ? 255 : 65535;
    std::vector<std::uint16_t> table(std::size_t{1} << static_cast<unsigned>(bits));
    for (std::size_t i = 0; i < table.size(); ++i) {
        const double value = (static_cast<double>(i) - black) * full / range;
        table[i] = static_cast<std::uint16_t>(std::lround(std::clamp(value, 0.0, full)));
    }
    return table;
}

} // namespace

bool isKnownMatrix(int matrix)
{
    return (matrix >= 0 && matrix <= 10) || matrix == 12;
}

SampleMeaning meaningOf(const Planes& planes, const std::optional<StatedColors>& stated)
{
    engine::YccCoding coding;
    coding.bits = planes.bits;
    coding.isFullRange = stated ? stated->isFullRange : planes.isFullRange;
    SampleMeaning meaning;
    switch (stated ? stated->matrix : planes.matrix) { // ITU-T H.273, table 4
    case 0:
        meaning.isRgb = planes.chromaShiftX == 0 && planes.chromaShiftY == 0;
        break;
    case 1:
        coding.red = 0.2126;
        coding.blue = 0.0722;
        break;
    case 4:
        coding.red = 0.30;
        coding.blue = 0.11;
        break;
    case 2: // not stated: what still pictures use
    case 5:
    case 6:
        break;
    case 7:
        coding.red = 0.212;
        coding.blue = 0.087;
        break;
    case 8:
        coding.isYCgCo = true;
        break;
    case 9:
    case 10:
        coding.red = 0.2627;
        coding.blue = 0.0593;
        break;
    case 12: // derived from the primaries; those of films for large screens are the usual case
        coding.red = stated && stated->primaries == 12 ? 0.2290 : 0.2126;
        coding.blue = stated && stated->primaries == 12 ? 0.0793 : 0.0722;
        break;
    default: // rare, and told when the file is opened
        break;
    }
    meaning.formula = engine::yccToRgb(coding);
    if (meaning.isRgb || !planes.hasColor)
        meaning.values = tableOf(planes.bits, coding.isFullRange);
    return meaning;
}

} // namespace zel::heif
