#include <zel/operations/subjects.h>

#include <zel/core/bitmap.h>
#include <zel/engine/fill.h>
#include <zel/engine/fill_holes.h>
#include <zel/operations/closed_holes.h>
#include <zel/operations/found_subjects.h>
#include <zel/platform/foundation/console.h>
#include <zel/platform/foundation/guards.h>
#include <zel/platform/foundation/notes.h>
#include <zel/platform/graphics/color_space.h>
#include <zel/platform/graphics/image_rows.h>
#include <zel/platform/graphics/render.h>

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <new>

// Subjects are regions of a map by runs, whose numbering is the order in which a scan by rows meets them. What a region
// encloses lies behind it in a depth-first walk over the regions, so closing holes marks regions and touches no pixel:
// the picture stays as it was drawn, and crops show each hole from the turn on in which it was closed. A region that
// encloses another one always comes first.
namespace zel {
namespace {

using engine::BitPicture;
using engine::ConstPixels;
using engine::PixelBuffer;
using engine::RegionMap;

constexpr std::uint8_t mostEmptyAlpha = 9; // of pixels that count as empty when holes are filled

/// A result with all that belongs to it; what a picture of nothing but specks is measured by.
constexpr std::uint64_t bytesPerSubject = 512;

constexpr engine::PixelLayout drawn{
    .alphaFirst = false, .alpha = engine::PixelLayout::Alpha::premultiplied, .bytesPerComponent = 1};

CGImage::Layout drawnLayout(const CGImage& image)
{
    CGImage::Layout layout;
    layout.width = image.width();
    layout.height = image.height();
    layout.alphaInfo = CGAlphaInfo::premultipliedLast;
    return layout;
}

/// In memory, with the pixels that drawing it would give.
bool isDrawn(const CGImage& image)
{
    return image.isDecoded() && pixelLayout(image.layout()) == drawn &&
           !ColorTransform::toSrgb(image.layout().colorSpace);
}

/// The picture drawn into pixels of its own; empty with the reason noted.
PixelBuffer drawnPixels(const CGImage& image, std::string_view operation)
{
    const CGSize size{static_cast<CGFloat>(image.width()), static_cast<CGFloat>(image.height())};
    if (!withinOperationLimits(size, 4, operation))
        return {};
    PixelBuffer pixels(image.width(), image.height());
    if (pixels.empty()) {
        (void)fail(ZelFailureCode::outOfMemory, operation, "no memory for the picture's pixels");
        return {};
    }
    const bool good = isDrawn(image) ? engine::copy(pixelsOf(image), pixels.pixels())
                                     : renderScaled(image, {0, 0, size.width, size.height}, pixels.pixels(),
                                                    kernelOf(CGInterpolationQuality::high));
    return good ? std::move(pixels) : PixelBuffer();
}

Absent failOutOfMemory(std::string_view operation)
{
    return fail(ZelFailureCode::outOfMemory, operation, "no memory for the picture's regions");
}

/// Notes `limit` where a map of so many runs would take more than an operation may.
bool withinMapLimits(std::uint64_t runs, std::uint64_t bytesPerRun, std::string_view operation)
{
    const std::uint64_t limit = ZelLimits::current().operationBytes;
    if (runs <= RegionMap::mostRuns && runs * bytesPerRun <= limit)
        return true;
    return fail(ZelFailureCode::limit, operation,
                fmt::format("{} runs of pixels need {} bytes, the limit is {} bytes", runs, runs * bytesPerRun, limit));
}

/// Which regions are subjects, and in whose turn others are closed.
struct Selection {
    std::vector<std::uint32_t> subjects;
    std::vector<std::uint32_t> turns; ///< of each region, where holes are closed
    bool hasClosed = false;
};

Selection select(const RegionMap& map, const SeparateSubjects& how)
{
    Selection selection;
    const auto& regions = map.regions();
    engine::Holes holes;
    if (how.fillHoles || how.fillHolesPercentage > 0) {
        holes = engine::findHoles(map);
        selection.turns.assign(regions.size(), ClosedHoles::never);
    }
    auto hole = holes.list.begin();
    for (std::uint32_t i = 0; i < regions.size(); ++i) {
        const bool isAbsorbed = !selection.turns.empty() && selection.turns[i] != ClosedHoles::never;
        const bool isChosen = regions[i].isSet && !isAbsorbed && regions[i].pixels >= how.minPixelCount;
        const std::int64_t most = truncated(how.fillHolesPercentage * static_cast<double>(regions[i].pixels));
        for (; hole != holes.list.end() && hole->around == i; ++hole) {
            if (!isChosen || (!how.fillHoles && hole->pixels > most))
                continue;
            selection.hasClosed = true;
            for (std::uint32_t at = hole->first; at < hole->last; ++at)
                selection.turns[holes.regions[at]] = static_cast<std::uint32_t>(selection.subjects.size());
        }
        if (isChosen)
            selection.subjects.push_back(i);
    }
    return selection;
}

/// The box with its margin, cut at the picture's edges: one more pixel behind than in front. No sides where a negative
/// padding leaves nothing.
PixelArea padded(const PixelArea& box, std::int64_t padding, const CGImage& picture)
{
    constexpr std::int64_t far = std::int64_t{1} << 32; // beyond every picture, and safe to add
    const std::int64_t margin = std::clamp(padding, -far, far);
    const std::int64_t left = std::max<std::int64_t>(box.left - margin, 0);
    const std::int64_t top = std::max<std::int64_t>(box.top - margin, 0);
    const std::int64_t right = std::min<std::int64_t>(box.left + box.width + margin, picture.width() - 1);
    const std::int64_t bottom = std::min<std::int64_t>(box.top + box.height + margin, picture.height() - 1);
    if (right < left || bottom < top)
        return {};
    return {static_cast<int>(left), static_cast<int>(top), static_cast<int>(right - left + 1),
            static_cast<int>(bottom - top + 1)};
}

std::optional<std::vector<FoundSubject>> search(const Ref<const CGImage>& image, const SeparateSubjects& how)
{
    constexpr std::string_view operation = "find subjects";
    const Ref<const CGImage> picture =
        isDrawn(*image) ? image : makeImage(drawnLayout(*image), drawnPixels(*image, operation));
    if (!picture)
        return std::nullopt;
    const bool closesHoles = how.fillHoles || how.fillHolesPercentage > 0;
    BitPicture bits = engine::alphaAbove(pixelsOf(*picture), how.alphaThreshold);
    if (!withinMapLimits(RegionMap::countRuns(bits),
                         RegionMap::bytesPerRun + (closesHoles ? engine::holeBytesPerRun : 0), operation))
        return std::nullopt;
    const RegionMap map(bits);
    const Selection selection = select(map, how);
    const std::uint64_t needed = selection.subjects.size() * bytesPerSubject;
    if (needed > ZelLimits::current().operationBytes) {
        (void)fail(ZelFailureCode::limit, operation,
                   fmt::format("{} subjects need {} bytes, the limit is {} bytes", selection.subjects.size(), needed,
                               ZelLimits::current().operationBytes));
        return std::nullopt;
    }

    const auto holes = selection.hasClosed ? std::make_shared<ClosedHoles>(picture, map, selection.turns) : nullptr;
    std::vector<FoundSubject> found;
    found.reserve(selection.subjects.size());
    for (std::size_t turn = 0; turn < selection.subjects.size(); ++turn) {
        if (!keepGoing(static_cast<double>(turn) / static_cast<double>(selection.subjects.size()), operation))
            return std::nullopt;
        const engine::Region& region = map.regions()[selection.subjects[turn]];
        FoundSubject subject;
        subject.box = {region.left, region.top, region.right - region.left + 1, region.bottom - region.top + 1};
        subject.crop = padded(subject.box, how.padding, *picture);
        subject.pixels = region.pixels;
        if (subject.crop.width < 1) {
            warn(ZelFailureCode::invalidArgument, operation,
                 fmt::format("a padding of {} leaves nothing of a subject", how.padding));
            continue;
        }
        subject.picture =
            holes ? holes->crop(subject.crop, static_cast<std::uint32_t>(turn)) : partOf(picture, subject.crop);
        if (subject.picture)
            found.push_back(std::move(subject));
    }
    return found;
}

} // namespace

std::optional<std::vector<FoundSubject>> findSubjects(const Ref<const CGImage>& image, const SeparateSubjects& how)
{
    try {
        if (image)
            return search(image, how);
        (void)failAbsentInput("find subjects");
    } catch (const std::bad_alloc&) {
        (void)failOutOfMemory("find subjects");
    }
    return std::nullopt;
}

std::vector<Ref<const CGImage>> zelFindSeparateSubjects(const Ref<const CGImage>& image, SeparateSubjects how)
{
    std::vector<Ref<const CGImage>> pictures;
    for (FoundSubject& subject : findSubjects(image, how).value_or(std::vector<FoundSubject>()))
        pictures.push_back(std::move(subject.picture));
    return pictures;
}

std::optional<std::vector<Ref<ZelImage>>> zelFindSeparateSubjects(const Ref<ZelImage>& image, SeparateSubjects how)
{
    if (!image || !image->cgImage) {
        (void)failAbsentInput("find subjects");
        return std::nullopt;
    }
    std::vector<Ref<ZelImage>> subjects;
    for (const Ref<const CGImage>& picture : zelFindSeparateSubjects(image->cgImage, how))
        subjects.push_back(makeZelImage(picture));
    return subjects;
}

Ref<const CGImage> fillHoles(const Ref<const CGImage>& image, FillColor color)
{
    constexpr std::string_view operation = "fill holes";
    if (!image)
        return failAbsentInput(operation);
    const NSColor& wanted = color.fillColor;
    if (!std::isfinite(wanted.redComponent) || !std::isfinite(wanted.greenComponent) ||
        !std::isfinite(wanted.blueComponent)) {
        Console::print("Impossibile convertire il colore in RGB");
        return fail(ZelFailureCode::invalidArgument, operation, "the colour is not finite");
    }
    PixelBuffer pixels = drawnPixels(*image, operation);
    if (pixels.empty())
        return nullptr;
    try {
        const BitPicture bits = engine::alphaAbove(pixels.pixels(), mostEmptyAlpha);
        if (!withinMapLimits(RegionMap::countRuns(bits), RegionMap::bytesPerRun, operation))
            return nullptr;
        const ZelColor255 bytes(wanted);
        engine::fillEnclosed(RegionMap(bits), pixels.pixels(), bytes.r, bytes.g, bytes.b);
    } catch (const std::bad_alloc&) {
        return failOutOfMemory(operation);
    }
    return makeImage(drawnLayout(*image), std::move(pixels));
}

} // namespace zel
