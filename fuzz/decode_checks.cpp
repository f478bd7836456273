#include "decode_checks.h"

#include <zel/platform/codecs/codec.h>
#include <zel/platform/codecs/encode.h>
#include <zel/platform/codecs/jpeg_lossless.h>
#include <zel/platform/foundation/failure.h>

#include <algorithm>
#include <cstring>
#include <malloc.h>
#include <utility>
#include <vector>

namespace zel::checks {
namespace {

struct Decoding {
    bool done = false; // what `decode` gave
    int rows = 0;      // that arrived
    std::size_t rowBytes = 0;
    std::vector<std::uint8_t> pixels; // `rows` rows
    std::string problem;
};

int reduced(int side, int denominator)
{
    return (side + denominator - 1) / denominator;
}

/// Decodes into memory that holds `before`, and so does, as far as the C library offers it, all memory that is
/// allocated.
Decoding decode(const PixelProvider& picture, const PixelProvider::Request& request, std::uint8_t before)
{
    const CGImage::Layout& layout = picture.facts().layout;
    const int width = reduced(layout.width, request.denominator), height = reduced(layout.height, request.denominator);
    const int last = request.rowCount < 0 ? height : request.firstRow + request.rowCount;
    const int bytesPerPixel = layout.bitsPerComponent / 2;

    Decoding result;
    result.rowBytes = static_cast<std::size_t>(width) * static_cast<std::size_t>(bytesPerPixel);
    result.pixels.assign(result.rowBytes * static_cast<std::size_t>(last - request.firstRow), before);
    mallopt(M_PERTURB, before);
    result.done = picture.decode(request, [&](int first, const engine::ConstPixels& rows) {
        if (first != request.firstRow + result.rows || first + rows.height > last || rows.height < 1) {
            result.problem = "rows out of order, or beyond the end";
            return false;
        }
        if (rows.width != width || rows.bytesPerPixel != bytesPerPixel) {
            result.problem = "rows of another width or depth than the header's";
            return false;
        }
        for (int y = 0; y < rows.height; ++y, ++result.rows)
            std::memcpy(result.pixels.data() + result.rowBytes * static_cast<std::size_t>(result.rows), rows.row(y),
                        result.rowBytes);
        return true;
    });
    mallopt(M_PERTURB, 0);
    if (result.problem.empty() && result.done && result.rows != last - request.firstRow)
        result.problem = "decoding ended well, but rows are missing";
    if (result.problem.empty() && !result.done && ZelFailure::last().code == ZelFailureCode::none)
        result.problem = "decoding failed without a note";
    result.pixels.resize(result.rowBytes * static_cast<std::size_t>(result.rows));
    return result;
}

std::string problemOfParts(const PixelProvider& picture, const Decoding& whole)
{
    const int height = picture.facts().layout.height, first = height / 3, count = (height - first + 1) / 2;
    const Decoding part = decode(picture, {.denominator = 1, .firstRow = first, .rowCount = count}, 0);
    if (!part.problem.empty())
        return "part: " + part.problem;
    const auto offset = whole.rowBytes * static_cast<std::size_t>(first);
    if (part.done && whole.done &&
        !std::equal(part.pixels.begin(), part.pixels.end(), whole.pixels.begin() + static_cast<std::ptrdiff_t>(offset)))
        return "part: its pixels differ from those of the whole";
    for (const int denominator : {2, 4, 8}) {
        if (!picture.canReduce(denominator))
            continue;
        const Decoding small = decode(picture, {.denominator = denominator}, 0);
        if (!small.problem.empty())
            return "reduced: " + small.problem;
        if (whole.done && !small.done)
            return "reduced: refused, unlike the whole";
    }
    return {};
}

std::uint32_t component(const CGImage::Layout& layout, const std::uint8_t* pixel, int index)
{
    if (layout.bitsPerComponent == 8)
        return pixel[index];
    std::uint16_t value = 0;
    std::memcpy(&value, pixel + std::ptrdiff_t{2} * index, 2);
    return value;
}

/// Where alpha stands among the four, and whether it means anything.
std::pair<int, bool> alphaOf(CGAlphaInfo info)
{
    switch (info) {
    case CGAlphaInfo::noneSkipFirst:
        return {0, false};
    case CGAlphaInfo::first:
    case CGAlphaInfo::premultipliedFirst:
        return {0, true};
    case CGAlphaInfo::noneSkipLast:
        return {3, false};
    default:
        return {3, true};
    }
}

} // namespace

ZelLimits tightLimits()
{
    ZelLimits limits = ZelLimits::untrusted();
    limits.pixels = std::uint64_t{1} << 20;
    limits.side = 1 << 16;
    limits.decodeBytes = std::uint64_t{32} << 20;
    limits.decodeTime = std::chrono::seconds(10);
    limits.jpegScans = 100;
    return limits;
}

std::string problemOfDecoding(std::span<const std::uint8_t> bytes)
{
    const ZelLimits limits = tightLimits();
    const ZelLimits::Scope scope(limits);
    ZelFailure::clear();
    const Ref<const PixelProvider> picture = openPicture(ByteSource::view(bytes));
    if (!picture)
        return ZelFailure::last().code == ZelFailureCode::none ? "refused without a note" : "";

    const CGImage::Layout layout = picture->facts().layout;
    if (layout.width < 1 || layout.height < 1)
        return "a side below 1";
    if (static_cast<std::uint64_t>(layout.width) * static_cast<std::uint64_t>(layout.height) > limits.pixels)
        return "more pixels than the limit";
    if (layout.bitsPerComponent != 8 && layout.bitsPerComponent != 16)
        return "neither 8 nor 16 bits a component";

    const Decoding whole = decode(*picture, {}, 0x00), again = decode(*picture, {}, 0xA5);
    for (const Decoding* each : {&whole, &again}) {
        if (!each->problem.empty())
            return each->problem;
    }
    if (whole.done != again.done || whole.pixels != again.pixels)
        return "the second decoding differs from the first: pixels that nobody wrote";
    if (layout.width != picture->facts().layout.width || layout.height != picture->facts().layout.height)
        return "decoding changed the size that the header gave";
    const std::string problem = problemOfParts(*picture, whole);
    if (!problem.empty())
        return problem;

    const Ref<const CGImage> image = CGImage::make(picture);
    if (!image)
        return "opened, but no image";
    const bool turned = swapsSides(picture->facts().orientation);
    if (image->width() != (turned ? layout.height : layout.width) ||
        image->height() != (turned ? layout.width : layout.height))
        return "the upright picture has another size than the header's";
    const std::span<const std::uint8_t> pixels = image->bytes();
    if (pixels.empty() != !whole.done)
        return "the image and its decoder disagree whether there are pixels";
    if (!pixels.empty() && pixels.size() < image->bytesPerRow() * static_cast<std::size_t>(image->height() - 1))
        return "the image holds fewer pixels than its size says";
    return {};
}

std::string problemOfFacts(std::span<const std::uint8_t> bytes)
{
    const ZelLimits::Scope scope(tightLimits());
    const Ref<const PixelProvider> picture = openPicture(ByteSource::view(bytes));
    if (!picture)
        return {};
    const PictureFacts facts = picture->facts();
    if (facts.orientation < Orientation::up || facts.orientation > Orientation::left)
        return "an orientation that does not exist";
    for (const double dpi : {facts.dpiX, facts.dpiY}) {
        if (dpi != 0 && !(dpi >= 10 && dpi <= 100'000))
            return "an absurd resolution";
    }
    if (facts.frames < 1 || facts.bits < 1 || facts.format.empty())
        return "a fact is missing";

    const Decoding whole = decode(*picture, {}, 0);
    const auto [alphaAt, alphaCounts] = alphaOf(facts.layout.alphaInfo);
    if (facts.hasAlpha != alphaCounts)
        return "the header and the layout disagree about alpha";
    const std::size_t bytesPerPixel = static_cast<std::size_t>(facts.layout.bitsPerComponent) / 2;
    for (std::size_t at = 0; facts.layout.isGray && at < whole.pixels.size(); at += bytesPerPixel) {
        const std::uint8_t* pixel = whole.pixels.data() + at;
        const int first = alphaAt == 0 ? 1 : 0;
        if (component(facts.layout, pixel, first) != component(facts.layout, pixel, first + 1) ||
            component(facts.layout, pixel, first) != component(facts.layout, pixel, first + 2))
            return "a grey picture with a coloured pixel";
    }
    return {};
}

std::string problemOfCodedData(std::span<const std::uint8_t> bytes)
{
    const ZelLimits::Scope scope(tightLimits());
    const Ref<const ByteSource> source = ByteSource::view(bytes);
    const Ref<const PixelProvider> picture = openPicture(source);
    if (!picture || picture->facts().format != jpegCodec.name)
        return {};
    constexpr double quality = 0.5;
    const Ref<const CGImage> decoded = CGImage::make(picture);
    if (!decoded->bytes().empty() && encodeJpeg(CGImage::make(picture), quality) != encodeJpeg(decoded, quality))
        return "coded again it has other bytes once it is decoded";

    ZelFailure::clear();
    const std::optional<Data> turned = changeJpeg(source, {.quarterTurns = 1, .trim = true, .dpi = 100});
    if (!turned)
        return ZelFailure::last().code == ZelFailureCode::none ? "turning it was refused without a note" : "";
    return openPicture(ByteSource::view(turned->span())) ? "" : "turned it does not open";
}

} // namespace zel::checks
