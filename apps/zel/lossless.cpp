#include "lossless.h"

#include <zel/platform/foundation/notes.h>
#include <zel/platform/graphics/pixel_provider.h>

namespace zel::program {

void LosslessOptions::declare(Arguments& arguments, bool canTrim)
{
    arguments.section("JPEG");
    arguments.flag("--lossless", wanted, "keep the coded data: nothing is decoded and coded anew");
    if (canTrim)
        arguments.flag("--trim", trim, "with --lossless: leave out edges that cannot be turned, up to 15 pixels");
}

void LosslessOptions::check(const EncodingOptions& encoding) const
{
    if (trim && !wanted)
        throw UsageError("--trim goes with --lossless");
    if (wanted && (encoding.quality || encoding.maxBytes))
        throw UsageError("--lossless keeps the coded data; --quality and --max-bytes code the picture anew");
}

std::optional<Data> changeInput(const Input& input, const LosslessStep& step, std::optional<double> dpi)
{
    if (input.failure)
        return fail(input.failure->code, input.failure->operation, input.failure->message, input.failure->subject);
    const std::optional<Data> file = input.bytes ? *input.bytes : Data::read(URL::file(input.name));
    const Ref<ZelImage> image = file ? makeZelImage(*file) : nullptr;
    if (!image || !image->cgImage)
        return std::nullopt;
    LosslessChange change =
        step({static_cast<CGFloat>(image->cgImage->width()), static_cast<CGFloat>(image->cgImage->height())});
    change.dpi = dpi;
    return changeJpegLosslessly(*file, change);
}

} // namespace zel::program
