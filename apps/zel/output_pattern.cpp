#include "output_pattern.h"

#include "picture_formats.h"
#include "quantity.h"
#include "usage.h"

#include <fmt/format.h>

#include <algorithm>

namespace zel::program {
namespace {

constexpr std::int64_t mostDigits = 20;

std::string numberText(std::size_t number, std::size_t digits)
{
    return fmt::format("{:0{}}", number, digits);
}

} // namespace

OutputPattern::OutputPattern(std::string_view pattern)
{
    const auto literal = [this](char c) {
        if (parts_.empty() || parts_.back().kind != Kind::literal)
            parts_.push_back({Kind::literal, {}, 0});
        parts_.back().text += c;
    };
    for (std::size_t i = 0; i < pattern.size(); ++i) {
        const char c = pattern[i];
        const bool isDoubled = i + 1 < pattern.size() && pattern[i + 1] == c;
        if ((c != '{' && c != '}') || isDoubled) {
            literal(c);
            i += c == '{' || c == '}' ? 1 : 0;
            continue;
        }
        const auto end = c == '{' ? pattern.find('}', i) : std::string_view::npos;
        if (end == std::string_view::npos)
            throw UsageError(fmt::format("{}: a brace without its partner", pattern), "{{ and }} stand for braces");
        const auto inside = pattern.substr(i + 1, end - i - 1);
        const auto colon = inside.find(':');
        const auto name = inside.substr(0, colon);
        const auto kind = readKind(name);
        if (!kind)
            throw UsageError(fmt::format("{}: {{{}}} stands for nothing", pattern, inside),
                             "{stem}, {ext}, {n}, {n:04}, {width}, {height}, {row}, {col}, {page}");
        Part part{*kind, {}, 0};
        if (colon != std::string_view::npos) {
            if (part.kind == Kind::stem || part.kind == Kind::extension)
                throw UsageError(fmt::format("{}: {{{}}} has no digits", pattern, name));
            part.digits = static_cast<std::size_t>(readWhole(inside.substr(colon + 1), 1, mostDigits));
        }
        parts_.push_back(std::move(part));
        i = end;
    }
}

std::optional<OutputPattern::Kind> OutputPattern::readKind(std::string_view name)
{
    if (name == "stem")
        return Kind::stem;
    if (name == "ext")
        return Kind::extension;
    if (name == "n")
        return Kind::number;
    if (name == "width")
        return Kind::width;
    if (name == "height")
        return Kind::height;
    if (name == "row")
        return Kind::row;
    if (name == "col")
        return Kind::column;
    if (name == "page")
        return Kind::page;
    return std::nullopt;
}

bool OutputPattern::needsSize() const
{
    return has(Kind::width) || has(Kind::height);
}

bool OutputPattern::has(Kind kind) const
{
    return std::any_of(parts_.begin(), parts_.end(), [&](const Part& part) { return part.kind == kind; });
}

std::string OutputPattern::expand(const PatternValues& values) const
{
    std::string name;
    const auto known = [](std::string_view word, const auto& value, std::size_t digits) {
        return value ? numberText(static_cast<std::size_t>(*value), digits) : fmt::format("{{{}}}", word);
    };
    for (const auto& part : parts_) {
        switch (part.kind) {
        case Kind::literal:
            name += part.text;
            break;
        case Kind::stem:
            name += values.stem;
            break;
        case Kind::extension:
            name += values.extension;
            break;
        case Kind::number:
            name += numberText(values.number, part.digits);
            break;
        case Kind::width:
            name += known("width", values.width, part.digits);
            break;
        case Kind::height:
            name += known("height", values.height, part.digits);
            break;
        case Kind::row:
            name += known("row", values.row, part.digits);
            break;
        case Kind::column:
            name += known("col", values.column, part.digits);
            break;
        case Kind::page:
            name += known("page", values.page, part.digits);
            break;
        }
    }
    return name;
}

std::string OutputPattern::extension() const
{
    if (parts_.empty() || parts_.back().kind != Kind::literal)
        return {};
    // A point in front of the extension keeps a literal such as "jpg" behind "{stem}." apart from ".jpg" alone.
    return std::string(extensionOf("name" + parts_.back().text));
}

} // namespace zel::program
