#pragma once
#include <zel/core/image.h>
#include <zel/export.h>
#include <zel/platform/foundation/coding.h>

// Pictures to bytes and files. Quality is 0 (smallest) to 1 (best); for JPEG it is libjpeg's scale divided by 100, not
// rounded to whole steps. The same picture and quality give the same bytes in every function here. Files are replaced
// in one step: whoever reads, and whatever kills the process, finds the old file or the new one.
namespace zel {

namespace ZelImageHelper {
enum class FileType { jpeg, png, tif, heif };
} // namespace ZelImageHelper

struct PngSize {
    std::optional<CGSize> size = {}; ///< points; absent = those of the platform image
};
struct Quality {
    double quality;
};
struct HeifQuality {
    double quality;
    bool useAlpha;
};
struct HeifFrom {
    Ref<const CGImage> from;
    double quality;
};
struct SaveUrl {
    URL url;
};
struct SaveJpeg {
    double quality;
    std::optional<std::int64_t> dpi = {}; ///< dots per inch for the header; absent = none
    URL url;
};
struct SaveJpegMaxSize {
    URL toUrl;
    std::optional<std::int64_t> dpi = {};
    std::int64_t maxSize; ///< bytes
};

struct SaveHeif {
    URL to;
    double quality;
    bool useAlpha = false;
};
struct SaveHeifDesiredSize {
    std::int64_t desiredSize; ///< bytes
    URL to;
    bool useAlpha = false;
};

/// Made on first use, once for the process, and never destroyed: the context through which every HEIF is rendered that
/// needs rendering.
ZEL_API const CIContext& heifDataCIContext();

/// PNG of the image's own pixels, 8 or 16 bits. The point size decides the resolution that is recorded (pixels a point
/// × 72), never the pixels. Absent without pixels.
ZEL_API std::optional<Data> pngData(const Ref<ZelImage>& image, PngSize points = {});
/// JPEG without a resolution, laid over white where it is transparent. Absent without pixels.
ZEL_API std::optional<Data> jpegData(const Ref<ZelImage>& image, Quality quality);
/// HEIC (HEVC). With `useAlpha`, or where there is no `cgImage`, the filter image rendered as sRGB, of 8 bits with
/// alpha, or of 10 bits without; else the `cgImage` as it is, with its profile and its alpha. Absent without pixels;
/// `missingPart` where the module for writing HEIF is not installed.
ZEL_API std::optional<Data> heifData(const Ref<ZelImage>& image, HeifQuality how);
/// The same as AVIF (AV1), always of 8 bits.
ZEL_API std::optional<Data> avifData(const Ref<ZelImage>& image, HeifQuality how);
/// HEIC of that bitmap; nothing is read of `image`, which may be absent.
ZEL_API std::optional<Data> heifData(const Ref<ZelImage>& image, HeifFrom what);

// Savers make the folder where it is missing and give true once the file is written. After false nothing stands at the
// address, not even an older file, unless no image was given.
ZEL_API bool saveToPNG(const Ref<ZelImage>& image, SaveUrl file);
ZEL_API bool saveToJpeg(const Ref<ZelImage>& image, SaveJpeg how);
/// The quality whose size comes closest to 97.5 % of `maxSize`, by bisection; where even quality 0 is larger than
/// `maxSize`, the image is reduced by a tenth until it is not. May end a little above `maxSize` where qualities lie far
/// apart. Tells each measured size on the console.
ZEL_API bool saveToJpeg(const Ref<ZelImage>& image, SaveJpegMaxSize how);

// Savers of HEIF make no folder, write to the file that a link names, and leave an older file as it was after false.
ZEL_API bool saveAsHEIF(const Ref<ZelImage>& image, SaveHeif how);
/// The quality whose size comes closest to 97.5 % of `desiredSize`, as for JPEG. Where even quality 0 is larger, the
/// image is resized to 90 % of the *points* of its platform image, again and again: one whose resolution is below 72
/// dots per inch has more points than pixels, and is enlarged at first.
ZEL_API bool saveAsHEIF(const Ref<ZelImage>& image, SaveHeifDesiredSize how);

namespace ZelImageHelper {
struct ToUrl {
    URL toUrl;
};
struct JpegDesiredSize {
    std::int64_t desiredSize;
    std::optional<std::int64_t> dpi = {};
    URL toUrl;
};
ZEL_API bool saveToJpeg(const Ref<ZelImage>& image, SaveJpeg how);
ZEL_API bool saveToJpeg(const Ref<ZelImage>& image, JpegDesiredSize how);
ZEL_API bool saveToPNG(const Ref<ZelImage>& image, ToUrl file);
ZEL_API bool saveToTIFF(const Ref<ZelImage>& image, ToUrl file);
} // namespace ZelImageHelper

/// {"id":…,"size":[width,height],"metadata":{…},"imageData":base-64 PNG or null}. Decoding needs all four; bytes that
/// are no picture are `dataCorrupted`. The stored size wins over that of the pixels.
template <>
ZEL_API std::string encode<Ref<ZelImage>>(const Ref<ZelImage>& image);
template <>
ZEL_API Ref<ZelImage> decode<Ref<ZelImage>>(std::string_view text);

} // namespace zel
