#include "outcome.h"

#include <fmt/format.h>

#include <charconv>
#include <cmath>

namespace zel::program {
namespace {

constexpr std::string_view limitMark = ", the limit is ";

/// The file or thing that a note is about, in the words of the command line.
std::string subjectOf(const Outcome& outcome, const ZelNote& note)
{
    const bool isOutput = note.code == ZelFailureCode::exists || note.code == ZelFailureCode::writeFailed;
    if (isOutput && !outcome.output.empty())
        return outcome.output;
    return outcome.input == "-" ? "standard input" : outcome.input;
}

/// The smallest --memory, in whole units, that holds "3.2 GB" or "1024000000 bytes"; empty where the fact names no such
/// need.
std::string memoryFor(std::string_view fact)
{
    constexpr std::string_view mark = " need ";
    const auto at = fact.find(mark);
    if (at == std::string_view::npos)
        return {};
    const auto need = fact.substr(at + mark.size());
    double value = 0;
    const auto [end, error] = std::from_chars(need.data(), need.data() + need.size(), value);
    if (error != std::errc())
        return {};
    auto unit = need.substr(static_cast<std::size_t>(end - need.data()));
    unit = unit.substr(0, unit.find(','));
    if (unit == " bytes") {
        constexpr double mega = 1e6;
        return fmt::format("{:.0f}M", std::floor(value / mega) + 1);
    }
    constexpr std::string_view letters = "MGT";
    const bool isKnown = unit.size() == 3 && letters.find(unit[1]) != std::string_view::npos;
    return isKnown ? fmt::format("{:.0f}{}", std::floor(value) + 1, unit[1]) : std::string();
}

/// The --max-pixels that lets in "20000 x 20000 are 400000000 pixels", in millions.
std::string pixelsFor(std::string_view fact)
{
    constexpr std::string_view mark = " are ";
    const auto at = fact.find(mark);
    double value = 0;
    if (at == std::string_view::npos)
        return {};
    const auto need = fact.substr(at + mark.size());
    const auto [end, error] = std::from_chars(need.data(), need.data() + need.size(), value);
    return error == std::errc() ? fmt::format("{:.0f}M", std::floor(value / 1e6) + 1) : std::string();
}

/// What helps against a limit: the flag that raises it, told from the words of the fact.
std::string remedyForLimit(std::string_view fact)
{
    if (fact.find(limitMark) != std::string_view::npos && fact.find(" pixels, ") != std::string_view::npos) {
        if (const auto pixels = pixelsFor(fact); !pixels.empty())
            return "--max-pixels " + pixels;
    }
    if (const auto memory = memoryFor(fact); !memory.empty())
        return "--memory " + memory;
    if (fact.starts_with("what comes back"))
        return "--max-download SIZE";
    for (const std::string_view word : {"second", " ms", "time"})
        if (fact.find(word) != std::string_view::npos)
            return "--timeout 60";
    return {};
}

std::string remedyForNetwork(std::string_view fact)
{
    if (fact.find(" within ") != std::string_view::npos)
        return "--transfer-time 5m";
    return fact.starts_with("a redirect leads into") ? "--allow-private" : "";
}

std::string remedyFor(const ZelNote& note)
{
    switch (note.code) {
    case ZelFailureCode::limit:
        return remedyForLimit(factOf(note));
    case ZelFailureCode::network:
        return remedyForNetwork(factOf(note));
    case ZelFailureCode::exists:
        return factOf(note) == existsAlready ? "--force or --skip-existing" : std::string();
    default:
        return {};
    }
}

} // namespace

std::string_view codeName(ZelFailureCode code)
{
    switch (code) {
    case ZelFailureCode::none:
        return "none";
    case ZelFailureCode::notFound:
        return "notFound";
    case ZelFailureCode::unreadable:
        return "unreadable";
    case ZelFailureCode::notAnImage:
        return "notAnImage";
    case ZelFailureCode::truncated:
        return "truncated";
    case ZelFailureCode::unsupported:
        return "unsupported";
    case ZelFailureCode::missingPart:
        return "missingPart";
    case ZelFailureCode::limit:
        return "limit";
    case ZelFailureCode::invalidArgument:
        return "invalidArgument";
    case ZelFailureCode::exists:
        return "exists";
    case ZelFailureCode::writeFailed:
        return "writeFailed";
    case ZelFailureCode::network:
        return "network";
    case ZelFailureCode::cancelled:
        return "cancelled";
    case ZelFailureCode::outOfMemory:
        return "outOfMemory";
    }
    return "none";
}

int statusOf(ZelFailureCode code)
{
    switch (code) {
    case ZelFailureCode::notFound:
    case ZelFailureCode::unreadable:
    case ZelFailureCode::notAnImage:
    case ZelFailureCode::truncated:
    case ZelFailureCode::unsupported:
        return 3;
    case ZelFailureCode::limit:
    case ZelFailureCode::outOfMemory:
        return 4;
    case ZelFailureCode::exists:
    case ZelFailureCode::writeFailed:
        return 5;
    case ZelFailureCode::missingPart:
        return 6;
    case ZelFailureCode::invalidArgument: // right in itself, and not for this picture: a rectangle outside of it
        return 2;
    case ZelFailureCode::none:
    case ZelFailureCode::network:
    case ZelFailureCode::cancelled:
        return 1;
    }
    return 1;
}

std::string_view factOf(const ZelNote& note)
{
    const std::string_view fact = note.message;
    const std::string_view path = note.subject;
    const auto name = path.substr(path.rfind('/') + 1);
    for (const auto& front : {path, name})
        if (!front.empty() && fact.starts_with(front) && fact.substr(front.size()).starts_with(": "))
            return fact.substr(front.size() + 2);
    return fact;
}

std::string failureText(const Outcome& outcome)
{
    const auto& note = outcome.failure;
    auto text = fmt::format("{}: {}", subjectOf(outcome, note), note.message.empty() ? "failed" : factOf(note));
    if (const auto remedy = remedyFor(note); !remedy.empty())
        text += fmt::format(" (hint: {})", remedy);
    return text;
}

std::string warningText(const Outcome& outcome, const ZelNote& warning)
{
    return fmt::format("{}: warning: {}", subjectOf(outcome, warning), factOf(warning));
}

} // namespace zel::program
