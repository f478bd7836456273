#include "edit_steps.h"

#include "cropping.h"
#include "grading.h"
#include "marking.h"
#include "masking.h"
#include "quantity.h"
#include "sizing.h"

#include <zel/operations/chroma.h>
#include <zel/operations/convolution.h>
#include <zel/operations/crop.h>
#include <zel/operations/rotate.h>
#include <zel/platform/graphics/image_part.h>

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>

// The operations that `edit` strings together: what each one's settings are called, and what it asks of the picture
// before it. Their values are read by the same functions as the flags of the verbs.
namespace zel::program {
namespace {

constexpr auto sameSize = [](CGSize size) { return size; };

/// A step that loads nothing.
std::function<PictureStep()> plainly(const PictureStep& step)
{
    return [step] { return step; };
}

EditStep makeResize(StepSettings& settings)
{
    SizingOptions size;
    settings.read("width", size.width, readSide);
    settings.read("height", size.height, readSide);
    settings.read("size", size.size, readDimensions);
    settings.read("max-side", size.maxSide, readSide);
    settings.read("min-side", size.minSide, readSide);
    settings.read("fit", size.fit, readFit);
    settings.flag("no-enlarge", size.noEnlarge);
    settings.refuseOthers();
    size.check();
    if (!size.isGiven())
        throw UsageError("no size", "--resize width=800");
    return {plainly([size](const Ref<ZelImage>& image) { return resized(image, size, SmallPictures::stay); }),
            [size](CGSize before) { return sizeAfter(before, size, SmallPictures::stay); }, Needs::rows};
}

EditStep makeCrop(StepSettings& settings)
{
    CroppingOptions area;
    settings.read("rect", area.rect, readRect);
    settings.read("aspect", area.aspect, readRatio);
    settings.read("zoom", area.zoom, readZoom);
    settings.refuseOthers();
    area.check();
    const auto step = [area](const Ref<ZelImage>& image) {
        return crop(image, CropTo{image ? area.areaOf(image->size) : CGRect{}});
    };
    const auto sizeAfter = [area](CGSize before) {
        const auto whole = [](CGFloat side) { return static_cast<int>(std::clamp(side, 1.0, 2e9)); };
        const auto part = pixelArea(area.areaOf(before), whole(before.width), whole(before.height));
        return part ? CGSize{static_cast<CGFloat>(part->width), static_cast<CGFloat>(part->height)} : CGSize{1, 1};
    };
    return {plainly(step), sizeAfter, Needs::nothing};
}

/// The bounding box of a turned picture, rounded up to whole pixels.
CGSize sizeAfterTurn(CGSize before, double degrees)
{
    constexpr double tolerance = 1e-6;
    const double c = std::fabs(std::cos(degrees * std::acos(-1.0) / 180));
    const double s = std::fabs(std::sin(degrees * std::acos(-1.0) / 180));
    return {std::ceil(before.width * c + before.height * s - tolerance),
            std::ceil(before.width * s + before.height * c - tolerance)};
}

EditStep makeRotate(StepSettings& settings)
{
    std::optional<double> by;
    settings.read("by", by, readAngle);
    settings.refuseOthers();
    if (!by)
        throw UsageError("no angle", "--rotate 90");
    const bool isQuarter = std::fmod(*by, 90) == 0;
    return {plainly([by](const Ref<ZelImage>& image) { return rotate(image, RotateDegrees{-*by}); }),
            [by](CGSize before) { return sizeAfterTurn(before, *by); }, isQuarter ? Needs::nothing : Needs::pixels};
}

EditStep makeStraighten(StepSettings& settings)
{
    std::optional<double> by;
    settings.read("by", by, readAngle);
    settings.refuseOthers();
    if (!by)
        throw UsageError("no angle", "--straighten 1.5");
    return {plainly([by](const Ref<ZelImage>& image) { return rotateAndZoom(image, RotateByDegrees{-*by}); }),
            sameSize};
}

EditStep makeExpose(StepSettings& settings)
{
    std::optional<double> stops;
    settings.read("ev", stops, readStops);
    settings.refuseOthers();
    if (!stops)
        throw UsageError("no exposure", "--expose 0.5");
    const auto step = [stops](const Ref<ZelImage>& image) {
        const Ref<ZelImage> result = exposure(image, *stops);
        return result == image ? nullptr : result; // itself where it cannot be exposed
    };
    return {plainly(step), sameSize, Needs::rows};
}

EditStep makeSharpen(StepSettings& settings)
{
    std::optional<double> amount;
    settings.read("amount", amount, readAmount);
    settings.refuseOthers();
    if (!amount)
        throw UsageError("no amount", "--sharpen 0.4");
    const auto sharpness = static_cast<float>(*amount);
    return {plainly([sharpness](const Ref<ZelImage>& image) { return sharpen(image, Sharpness{sharpness}); }), sameSize,
            Needs::rows};
}

EditStep makeCube(StepSettings& settings)
{
    std::optional<std::string> file;
    settings.text("file", file);
    settings.refuseOthers();
    if (!file)
        throw UsageError("no cube", "--cube FILE");
    const auto prepare = [file]() -> PictureStep {
        const auto lut = readLut(*file);
        if (!lut)
            return nullptr;
        return [lut](const Ref<ZelImage>& image) { return apply(image, ApplyLut{*lut}); };
    };
    return {prepare, sameSize, Needs::rows, {*file}};
}

EditStep makeConvolve(StepSettings& settings)
{
    std::optional<std::vector<std::int16_t>> kernel;
    settings.read("kernel", kernel, readKernel);
    settings.refuseOthers();
    if (!kernel)
        throw UsageError("no kernel", "--convolve '0 -3 0 -3 15 -3 0 -3 0'");
    return {plainly([kernel](const Ref<ZelImage>& image) { return convolve(image, ConvolutionKernel{*kernel}); }),
            sameSize, Needs::pixels};
}

EditStep makeKey(StepSettings& settings)
{
    std::optional<ZelColor> color;
    std::optional<double> tolerance;
    settings.read("color", color, readColor);
    settings.read("tolerance", tolerance, readTolerance);
    settings.refuseOthers();
    if (!color)
        throw UsageError("no colour", "--key '#20b240,tolerance=60'");
    ZelImage::KeyColor keyColor;
    keyColor.color = *color;
    keyColor.tolerance = tolerance.value_or(keyColor.tolerance);
    return {plainly([keyColor](const Ref<ZelImage>& image) { return key(image, {.with = keyColor}); }), sameSize};
}

/// A step with a colour alone.
template <class Operation>
EditStep makeFilling(StepSettings& settings, const Operation& operation)
{
    std::optional<ZelColor> color;
    settings.read("color", color, readColor);
    settings.refuseOthers();
    if (!color)
        throw UsageError("no colour", "'#335577'");
    const FillWith with{.with = *color};
    return {plainly([with, operation](const Ref<ZelImage>& image) { return operation(image, with); }), sameSize};
}

EditStep makeFill(StepSettings& settings)
{
    return makeFilling(settings, [](const Ref<ZelImage>& image, FillWith color) {
        const Ref<ZelImage> result = fill(image, color);
        return result == image ? nullptr : result; // itself where it cannot be filled
    });
}

EditStep makeFillHoles(StepSettings& settings)
{
    return makeFilling(settings, [](const Ref<ZelImage>& image, FillWith color) { return fillHoles(image, color); });
}

EditStep makeMask(StepSettings& settings)
{
    std::optional<std::string> file;
    std::optional<MaskBy> by;
    settings.text("file", file);
    settings.read("by", by, readMaskBy);
    settings.refuseOthers();
    if (!file)
        throw UsageError("no mask", "--mask FILE");
    return {[file, by] { return maskStep(*file, by.value_or(MaskBy::brightness)); }, sameSize, Needs::pixels, {*file}};
}

EditStep makeWatermark(StepSettings& settings)
{
    MarkingOptions mark;
    settings.text("file", mark.file);
    settings.read("position", mark.position, readPosition);
    settings.read("scale", mark.scale, readScale);
    settings.read("opacity", mark.opacity, readOpacity);
    settings.refuseOthers();
    if (!mark.file)
        throw UsageError("no watermark", "--watermark FILE");
    const auto prepare = [mark]() -> PictureStep {
        const auto with = mark.load();
        if (!with.with)
            return nullptr;
        return [with](const Ref<ZelImage>& image) { return watermark(image, with); };
    };
    return {prepare, sameSize, Needs::rows, mark.files()};
}

constexpr std::array kinds = {
    StepKind{"resize", "size", "WxH or SETTINGS",
             "width=, height=, size=, max-side=, min-side=, fit=fit|fill|none, no-enlarge=yes", makeResize},
    StepKind{"crop", "rect", "X,Y,W,H or SETTINGS", "rect=, aspect=, zoom= as in zel crop", makeCrop},
    StepKind{"rotate", "by", "DEGREES", "clockwise", makeRotate},
    StepKind{"straighten", "by", "DEGREES", "clockwise, enlarged so that no corner is empty", makeStraighten},
    StepKind{"expose", "ev", "STOPS", "1 doubles the light, -1 halves it", makeExpose},
    StepKind{"sharpen", "amount", "F", "0.4 is a little, 1 a lot", makeSharpen},
    StepKind{"cube", "file", "FILE", "colours through a cube", makeCube},
    StepKind{"convolve", "kernel", "'9 NUMBERS'", "a kernel of 3 by 3, over 3", makeConvolve},
    StepKind{"key", "color", "COLOR", "a colour made transparent; tolerance= behind it", makeKey},
    StepKind{"fill", "color", "COLOR", "one colour everywhere, alpha kept", makeFill},
    StepKind{"fill-holes", "color", "COLOR", "transparent holes filled", makeFillHoles},
    StepKind{"mask", "file", "FILE", "transparency from another picture; by=brightness|alpha behind it", makeMask},
    StepKind{"watermark", "file", "FILE", "position=, scale=, opacity= behind it", makeWatermark},
};

} // namespace

void StepSettings::flag(std::string_view name, bool& into)
{
    std::optional<bool> said;
    read(name, said, [](const std::string& word) {
        return readChoice<bool>(word, {{"yes", true}, {"no", false}, {"true", true}, {"false", false}});
    });
    into = said.value_or(into);
}

void StepSettings::refuseOthers() const
{
    for (const auto& [name, text] : words_.settings)
        if (std::find(known_.begin(), known_.end(), name) == known_.end())
            throw UsageError(fmt::format("there is no setting '{}', but {}", name, fmt::join(known_, ", ")));
}

const std::string* StepSettings::find(std::string_view name)
{
    known_.push_back(name);
    const std::string* found = nullptr;
    for (const auto& [setting, text] : words_.settings) {
        if (setting == name && found != nullptr)
            throw UsageError(fmt::format("{} is said twice", name));
        if (setting == name)
            found = &text;
    }
    return found;
}

std::span<const StepKind> stepKinds()
{
    return kinds;
}

const StepKind* stepKindNamed(std::string_view name)
{
    const auto* const found =
        std::find_if(kinds.begin(), kinds.end(), [&](const StepKind& kind) { return kind.name == name; });
    return found == kinds.end() ? nullptr : found;
}

StepWords readStepWords(const StepKind& kind, std::string_view text)
{
    StepWords words{std::string(kind.name), {}};
    for (std::size_t at = 0; at <= text.size();) {
        const auto end = std::min(text.size(), text.find(',', at));
        const auto part = text.substr(at, end - at);
        const auto equals = part.find('=');
        if (equals != std::string_view::npos)
            words.settings.emplace_back(part.substr(0, equals), part.substr(equals + 1));
        else if (words.settings.empty())
            words.settings.emplace_back(kind.mainSetting, part);
        else
            words.settings.back().second.append(",").append(part);
        at = end + 1;
    }
    return words;
}

EditStep makeStep(StepWords words)
{
    const StepKind* const kind = stepKindNamed(words.name);
    if (kind == nullptr)
        throw UsageError(fmt::format("there is no step '{}'", words.name), "zel help edit");
    try {
        StepSettings settings(words);
        EditStep step = kind->make(settings);
        step.words = std::move(words);
        return step;
    } catch (const UsageError& error) {
        throw UsageError(fmt::format("--{}: {}", kind->name, error.what()), error.hint());
    }
}

} // namespace zel::program
