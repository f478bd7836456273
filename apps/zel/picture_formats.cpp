#include "picture_formats.h"

#include <zel/platform/codecs/codec.h>

#include <fmt/format.h>

#include <algorithm>
#include <array>

namespace zel::program {
namespace {

struct Writable {
    Format format;
    std::string_view name;
    std::string_view extensions; ///< the usual one first
};

constexpr std::array<Writable, 6> writable = {{
    {Format::jpeg, "jpeg", "jpg jpeg jpe jfif"},
    {Format::png, "png", "png"},
    {Format::tiff, "tiff", "tif tiff"},
    {Format::heif, "heif", "heic heif hif"},
    {Format::avif, "avif", "avif"},
    {Format::pnm, "pnm", "ppm pnm"},
}};

std::string lower(std::string_view text)
{
    std::string result(text);
    std::transform(result.begin(), result.end(), result.begin(),
                   [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; });
    return result;
}

/// True when `word` is one of the words of a list with blanks between them.
bool holds(std::string_view list, std::string_view word)
{
    while (!list.empty()) {
        const auto blank = std::min(list.find(' '), list.size());
        if (list.substr(0, blank) == word)
            return true;
        list.remove_prefix(std::min(blank + 1, list.size()));
    }
    return false;
}

const Writable& entryOf(Format format)
{
    return *std::find_if(writable.begin(), writable.end(),
                         [&](const Writable& entry) { return entry.format == format; });
}

std::string_view fileName(std::string_view file)
{
    const auto slash = file.rfind('/');
    return slash == std::string_view::npos ? file : file.substr(slash + 1);
}

} // namespace

std::string_view formatName(Format format)
{
    return entryOf(format).name;
}

std::string_view usualExtension(Format format)
{
    const auto extensions = entryOf(format).extensions;
    return extensions.substr(0, extensions.find(' '));
}

std::optional<Format> formatNamed(std::string_view name)
{
    const auto wanted = lower(name);
    for (const auto& entry : writable)
        if (wanted == entry.name || holds(entry.extensions, wanted))
            return entry.format;
    return std::nullopt;
}

std::optional<Format> formatOfFile(std::string_view file)
{
    const auto extension = extensionOf(file);
    return extension.empty() ? std::nullopt : formatNamed(extension);
}

std::vector<std::string> writableFormatNames()
{
    std::vector<std::string> names;
    for (const auto& entry : writable)
        names.emplace_back(entry.name);
    return names;
}

std::string writableFormats()
{
    return fmt::format("{}", fmt::join(writableFormatNames(), ", "));
}

bool hasPictureExtension(std::string_view file)
{
    const auto extension = lower(extensionOf(file));
    if (extension.empty())
        return false;
    const auto read = codecs();
    return std::any_of(read.begin(), read.end(),
                       [&](const Codec& codec) { return holds(codec.extensions, extension); });
}

std::string_view extensionOf(std::string_view file)
{
    const auto name = fileName(file);
    const auto point = name.rfind('.');
    return point == std::string_view::npos || point == 0 ? std::string_view() : name.substr(point + 1);
}

std::string_view stemOf(std::string_view file)
{
    const auto name = fileName(file);
    const auto point = name.rfind('.');
    return point == std::string_view::npos || point == 0 ? name : name.substr(0, point);
}

} // namespace zel::program
