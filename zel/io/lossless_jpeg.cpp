#include <zel/io/lossless_jpeg.h>

#include <zel/platform/codecs/jpeg_lossless.h>
#include <zel/platform/foundation/notes.h>

namespace zel {

std::optional<Data> changeJpegLosslessly(const Data& file, const LosslessChange& change)
{
    constexpr int quarter = 90;
    if (change.turn % quarter != 0)
        return fail(ZelFailureCode::invalidArgument, "lossless", "coded data turn by 90, 180 or 270 degrees alone");
    if (change.dpi && !(*change.dpi > 0 && *change.dpi <= 1e6))
        return fail(ZelFailureCode::invalidArgument, "lossless", "a resolution is above 0");
    JpegChange inner{.quarterTurns = (change.turn / quarter % 4 + 4) % 4,
                     .mirror = change.mirror,
                     .trim = change.trim,
                     .dpi = change.dpi};
    if (change.crop)
        inner.area = JpegChange::Area{change.crop->x, change.crop->y, change.crop->width, change.crop->height};
    return changeJpeg(ByteSource::view(file.span()), inner);
}

} // namespace zel
