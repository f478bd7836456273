#pragma once
#include <zel/export.h>
#include <zel/core/image.h>
#include <zel/platform/foundation/coding.h>

namespace zel {

namespace ZelImageHelper {
enum class FileType { jpeg, png, tif, heif };
} // namespace ZelImageHelper

struct PngSize { std::optional<CGSize> size = {}; };
struct Quality { double quality; };
struct HeifQuality { double quality; bool useAlpha; };
struct HeifFrom { Ref<const CGImage> from; double quality; };
struct SaveUrl { URL url; };
struct SaveJpeg { double quality; std::optional<std::int64_t> dpi = {}; URL url; };
struct SaveJpegMaxSize { URL toUrl; std::optional<std::int64_t> dpi = {}; std::int64_t maxSize; };
struct SaveHeif { URL to; double quality; bool useAlpha = false; };
struct SaveHeifDesiredSize { std::int64_t desiredSize; URL to; bool useAlpha = false; };

const CIContext& heifDataCIContext();      ///< made on first use, shared by every HEIF encoding
std::optional<Data> pngData(const Ref<ZelImage>& image, PngSize points = {});
std::optional<Data> jpegData(const Ref<ZelImage>& image, Quality quality);
std::optional<Data> heifData(const Ref<ZelImage>& image, HeifQuality how);
std::optional<Data> heifData(const Ref<ZelImage>& image, HeifFrom what);
bool saveToPNG(const Ref<ZelImage>& image, SaveUrl file);
bool saveToJpeg(const Ref<ZelImage>& image, SaveJpeg how);
bool saveToJpeg(const Ref<ZelImage>& image, SaveJpegMaxSize how);
bool saveAsHEIF(const Ref<ZelImage>& image, SaveHeif how);
bool saveAsHEIF(const Ref<ZelImage>& image, SaveHeifDesiredSize how);

namespace ZelImageHelper {
struct ToUrl { URL toUrl; };
struct JpegDesiredSize { std::int64_t desiredSize; std::optional<std::int64_t> dpi = {}; URL toUrl; };
bool saveToJpeg(const Ref<ZelImage>& image, SaveJpeg how);
bool saveToJpeg(const Ref<ZelImage>& image, JpegDesiredSize how);
bool saveToPNG(const Ref<ZelImage>& image, ToUrl file);
bool saveToTIFF(const Ref<ZelImage>& image, ToUrl file);
} // namespace ZelImageHelper

// JSON: encode(image) and decode<Ref<ZelImage>>(text)
template <>
std::string encode<Ref<ZelImage>>(const Ref<ZelImage>& image);
template <>
Ref<ZelImage> decode<Ref<ZelImage>>(std::string_view text);

} // namespace zel
