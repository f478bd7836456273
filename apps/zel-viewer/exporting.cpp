#include "exporting.h"

#include <zel/io/exif.h>
#include <zel/platform/foundation/failure.h>

#include <cmath>
#include <system_error>
#include <unistd.h>

namespace zel::viewer {
namespace {

namespace fs = std::filesystem;
using FileType = ZelImageHelper::FileType;

bool hasAlpha(const CGImage& image)
{
    const CGAlphaInfo alpha = image.layout().alphaInfo;
    return alpha != CGAlphaInfo::noneSkipLast && alpha != CGAlphaInfo::noneSkipFirst;
}

/// Dots an inch; an image without a resolution of its own has a pixel a point, which are 72.
double resolutionOf(const Ref<ZelImage>& picture)
{
    const CGFloat points = picture->image->width();
    return points > 0 ? picture->size.width * 72 / points : 72;
}

/// The same pixels, so large on paper.
Ref<ZelImage> withResolution(const Ref<ZelImage>& picture, double dpi)
{
    return makeZelImage(NSImage::make(picture->cgImage, picture->size * (72 / dpi)));
}

class Saving {
public:
    Saving(const ExportOrder& order, double dpi) : order_(order), dpi_(dpi) {}

    /// Writes to a file beside the target, which takes its place once it is finished.
    bool save(const Ref<ZelImage>& picture)
    {
        const fs::path target = order_.file.filePath();
        const std::string name = "." + target.filename().string() + "." + std::to_string(::getpid()) + ".part";
        const fs::path part = target.parent_path() / name;
        std::error_code error;
        if (order_.mostBytes && canBeLimited(order_.format) ? saveWithin(picture, part, *order_.mostBytes)
                                                            : save(picture, URL::file(part)))
            fs::rename(part, target, error);
        else
            error = std::make_error_code(std::errc::io_error);
        if (!error)
            return true;
        if (message_.empty())
            message_ = ZelFailure::last().code != ZelFailureCode::none ? ZelFailure::last().message : error.message();
        fs::remove(part, error);
        return false;
    }
    [[nodiscard]] const std::string& message() const { return message_; }

private:
    bool save(const Ref<ZelImage>& picture, const URL& part) const
    {
        switch (order_.format) {
        case FileType::jpeg:
            return saveToJpeg(picture, {.quality = order_.quality, .dpi = jpegResolution(), .url = part});
        case FileType::png:
            return saveToPNG(withResolution(picture, dpi_), {.url = part});
        case FileType::tif:
            return ZelImageHelper::saveToTIFF(withResolution(picture, dpi_), {.toUrl = part});
        case FileType::heif:
            return saveAsHEIF(picture,
                              {.to = part, .quality = order_.quality, .useAlpha = hasAlpha(*picture->cgImage)});
        }
        return false;
    }

    /// The library takes the size that comes nearest, which may be a little more than was wanted: then a little less is
    /// wanted.
    bool saveWithin(const Ref<ZelImage>& picture, const fs::path& part, std::int64_t most)
    {
        constexpr int tries = 6;
        auto wanted = static_cast<double>(most);
        for (int attempt = 0; attempt < tries; ++attempt) {
            const auto bytes = static_cast<std::int64_t>(wanted);
            const URL file = URL::file(part);
            const bool isSaved =
                order_.format == FileType::jpeg
                    ? saveToJpeg(picture, {.toUrl = file, .dpi = jpegResolution(), .maxSize = bytes})
                    : saveAsHEIF(makeZelImage(picture->cgImage),
                                 {.desiredSize = bytes, .to = file, .useAlpha = hasAlpha(*picture->cgImage)});
            if (!isSaved)
                return false;
            std::error_code error;
            const auto size = static_cast<double>(fs::file_size(part, error));
            if (!error && size <= static_cast<double>(most))
                return true;
            wanted *= 0.98 * static_cast<double>(most) / size;
        }
        message_ = "no file of at most " + std::to_string(most) + " bytes came about";
        return false;
    }

    [[nodiscard]] std::optional<std::int64_t> jpegResolution() const
    {
        const double dpi = std::round(dpi_);
        return dpi >= 1 && dpi <= 65'535 ? std::optional(static_cast<std::int64_t>(dpi)) : std::nullopt;
    }

    const ExportOrder& order_;
    double dpi_;
    std::string message_;
};

} // namespace

bool canBeLimited(FileType format)
{
    return format == FileType::jpeg || format == FileType::heif;
}

ExportResult exportPicture(const Ref<ZelImage>& picture, const ExportOrder& order,
                           const std::function<void(double)>& report, const std::stop_token& stop)
{
    const std::vector<EditStep> steps = stepsOf(order.edits);
    const auto parts = static_cast<double>(steps.size() + 1); // saving is the last one
    double done = 0, told = 0;
    const ZelProgress progress(
        [&](double fraction) {
            // A search for a size counts each of its tries anew: what is told only grows.
            const double next = (done + fraction) / parts;
            if (report && next > told)
                report(told = next);
        },
        stop);
    ZelFailure::clear();

    ExportResult result;
    Ref<ZelImage> image = picture;
    for (const EditStep& step : steps) {
        image = image ? step(image) : nullptr;
        ++done;
    }
    Saving saving(order, resolutionOf(picture));
    result.isWritten = image && !stop.stop_requested() && saving.save(image);
    if (result.isWritten) {
        std::error_code ignored;
        const auto written = ZelImageHelper::resolution({.of = order.file});
        result.size =
            written ? CGSize{static_cast<CGFloat>(written->first), static_cast<CGFloat>(written->second)} : image->size;
        result.bytes = static_cast<std::int64_t>(fs::file_size(order.file.filePath(), ignored));
    } else {
        result.isCancelled = stop.stop_requested();
        result.message = saving.message().empty() ? ZelFailure::last().message : saving.message();
    }
    return result;
}

} // namespace zel::viewer
