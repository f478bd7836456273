#include "marking.h"

#include "quantity.h"

#include <zel/platform/foundation/failure.h>
#include <zel/platform/foundation/url.h>

#include <fmt/format.h>

#include <algorithm>

namespace zel::program {
namespace {

// A quarter of what would fit: to be seen, and seen past.
constexpr double defaultScale = 0.25;
constexpr double largestScale = 100;

/// "bottom-right", "Bottom Right" and "bottomRight" are one place.
std::string lettersOf(std::string_view text)
{
    std::string letters;
    for (const char c : text)
        if (c != ' ' && c != '-' && c != '_')
            letters += c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
    return letters;
}

ZelWatermark readSettings(const std::string& file)
{
    const auto bytes = Data::read(URL::file(file));
    if (!bytes)
        throw UsageError(fmt::format("--settings: {}", ZelFailure::last().message));
    try {
        return decode<ZelWatermark>({reinterpret_cast<const char*>(bytes->data()), bytes->size()});
    } catch (const ZelDecodingError& error) {
        throw UsageError(fmt::format("--settings: {}: {}: {}", file, error.codingPath(), error.what()),
                         R"({"position":"Bottom Right","scale":{"policy":"Largest Side Scale","scale":0.25,)"
                         R"("maxScale":1,"minScale":0},"opacity":0.6})");
    }
}

} // namespace

ZelWatermark::Position readPosition(std::string_view text)
{
    std::vector<std::string> names;
    for (const auto position : allCases<ZelWatermark::Position>()) {
        const auto name = rawValue(position);
        if (lettersOf(name) == lettersOf(text))
            return position;
        names.emplace_back(name);
    }
    throw UnknownWord(text, std::move(names));
}

double readScale(std::string_view text)
{
    const double scale = readNumber(text, 0, largestScale);
    if (scale <= 0)
        throw UsageError("0 would leave nothing of it");
    return scale;
}

double readOpacity(std::string_view text)
{
    return readNumber(text, 0, 1);
}

void MarkingOptions::declare(Arguments& arguments, bool withSettings)
{
    arguments.section("Watermark");
    arguments.text("--watermark", "FILE", file, "the picture that is drawn over the result");
    arguments.value("--position", "WHERE", position, readPosition,
                    "'Top Left' to 'Bottom Right', 'Center' (Bottom Right)");
    arguments.value("--scale", "F", scale, readScale, "1 is as large as fits, 0.25 a quarter of that (0.25)");
    arguments.value("--opacity", "F", opacity, readOpacity, "0 to 1 (1)");
    if (withSettings)
        arguments.text("--settings", "FILE", settings, "position, scale and opacity from a JSON file");
}

void MarkingOptions::check() const
{
    if (!file && (position || scale || opacity || settings))
        throw UsageError("there is no watermark to place", "--watermark FILE");
    if (settings && (position || scale || opacity))
        throw UsageError("--settings says it all; --position, --scale and --opacity cannot be given as well");
}

std::vector<std::string> MarkingOptions::files() const
{
    std::vector<std::string> files;
    for (const auto& each : {file, settings})
        if (each)
            files.push_back(*each);
    return files;
}

WatermarkWith MarkingOptions::load() const
{
    ZelWatermark how;
    how.scale.policy = ZelWatermark::Scale::Policy::largestSideScale;
    how.scale.scale = scale.value_or(defaultScale);
    how.position = position.value_or(ZelWatermark::Position::bottomRight);
    how.opacity = opacity.value_or(1);
    if (settings)
        how = readSettings(*settings);
    return {.with = makeZelImage(URL::file(*file)), .using_ = how};
}

} // namespace zel::program
