#include "output_plan.h"

#include <zel/platform/foundation/guards.h>
#include <zel/platform/graphics/pixel_provider.h>

#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>
#include <sys/stat.h>
#include <unistd.h>

namespace zel::program {
namespace {

constexpr std::string_view standardOutput = "-";
/// Stand for what tells several results of an input apart, in the names of files in a folder, until it is known.
constexpr std::string_view tileMark = "-{row}-{col}";
constexpr std::string_view numberMark = "-{n}";
constexpr std::string_view pageMark = "-{page}";

std::string_view markOf(OutputPlan::Results results)
{
    switch (results) {
    case OutputPlan::Results::tiles:
        return tileMark;
    case OutputPlan::Results::numbered:
        return numberMark;
    case OutputPlan::Results::pages:
        return pageMark;
    case OutputPlan::Results::one:
        break;
    }
    return {};
}

/// What helps where several results were given one name.
std::string hintFor(OutputPlan::Results results)
{
    return fmt::format("-o FOLDER/ or -o 'FOLDER/{{stem}}{}.{{ext}}'", markOf(results));
}
/// What a file from standard input is called where a name is needed.
constexpr std::string_view stemOfStandardInput = "stdin";

std::optional<struct stat> factsOf(const std::string& path)
{
    struct stat facts = {};
    return ::stat(path.c_str(), &facts) == 0 ? std::optional(facts) : std::nullopt;
}

bool isFolder(const std::string& path)
{
    const auto facts = factsOf(path);
    return facts && S_ISDIR(facts->st_mode);
}

/// Two names of one place give the same text: links in the folders above are followed, as far as they exist.
std::string comparable(const std::string& path)
{
    const auto slash = path.rfind('/');
    const auto folder = slash == std::string::npos ? std::string(".") : path.substr(0, slash + 1);
    const auto name = slash == std::string::npos ? path : path.substr(slash + 1);
    std::error_code ignored;
    return (std::filesystem::weakly_canonical(folder, ignored) / name).string();
}

/// The name of the file's format, told from its content; empty where it is no picture (the work will say why).
std::string recognisedFormat(const Input& input)
{
    const auto image = openInput(input);
    const auto* const facts = image && image->cgImage ? image->cgImage->facts() : nullptr;
    return facts == nullptr ? std::string() : facts->format;
}

Format wantedFormat(const Input& input, std::string_view outputExtension, std::optional<Format> asked)
{
    if (asked)
        return *asked;
    if (!outputExtension.empty()) {
        if (const auto format = formatNamed(outputExtension))
            return *format;
        throw UsageError(fmt::format("no picture is written as .{}", outputExtension),
                         fmt::format("--format {}", writableFormats()));
    }
    if (const auto format = formatOfFile(input.fileName()))
        return *format;
    if (!input.file.empty()) // not here yet, so its content cannot be asked
        throw UsageError(fmt::format("{}: the address names no format that is written", input.name),
                         fmt::format("--format {}", writableFormats()));
    const auto recognised = recognisedFormat(input);
    if (recognised.empty())
        return Format::png;
    if (const auto format = formatNamed(recognised))
        return *format;
    throw UsageError(fmt::format("{}: {} is read, not written", input.name, recognised),
                     fmt::format("--format {}", writableFormats()));
}

/// The extension of the output: that of the input where it fits the format, in the input's own spelling.
std::string extensionFor(const Input& input, Format format)
{
    return std::string(formatOfFile(input.fileName()) == format ? extensionOf(input.fileName())
                                                                : usualExtension(format));
}

std::string stemFor(const Input& input)
{
    return std::string(input.isStandardInput() ? stemOfStandardInput : stemOf(input.fileName()));
}

/// The file behind a link, so that working in place changes the picture and leaves the link.
std::string resolved(const std::string& path)
{
    const std::unique_ptr<char, decltype(&std::free)> target(::realpath(path.c_str(), nullptr), &std::free);
    return target ? std::string(target.get()) : path;
}

} // namespace

OutputPlan::OutputPlan(const OutputOptions& options, const Inputs& inputs, std::optional<Format> format,
                       const std::vector<std::string>& others, Results results)
    : kind_(results == Results::one ? kindOf(options, inputs) : kindOfSeveral(options, inputs, results)),
      results_(results)
{
    if (kind_ == Kind::pattern) {
        pattern_.emplace(*options.output);
        checkPattern(*options.output);
    }
    for (const auto& input : inputs.list)
        if (input.node != 0)
            inputs_.emplace_back(input.device, input.node);
    for (const auto& other : others)
        if (const auto facts = factsOf(other))
            others_.emplace_back(facts->st_dev, facts->st_ino);
    std::sort(inputs_.begin(), inputs_.end());
    std::sort(others_.begin(), others_.end());

    for (std::size_t i = 0; i < inputs.list.size(); ++i) {
        auto& output = outputs_.emplace_back(plan(options, inputs.list[i], format, i));
        if (kind_ == Kind::standardOutput || results != Results::one || (pattern_ && pattern_->needsSize()))
            continue;
        if (replacesInput(output.path, options.inPlace))
            output.mayReplace = true;
        const auto [place, isNew] = taken_.emplace(comparable(output.path), i);
        if (!isNew)
            throw UsageError(fmt::format("{} and {} would both be written to {}", inputs.list[place->second].name,
                                         inputs.list[i].name, output.path),
                             "-o 'FOLDER/{stem}-{n}.{ext}'");
    }
}

OutputPlan::Kind OutputPlan::kindOf(const OutputOptions& options, const Inputs& inputs)
{
    if (options.force && options.skipExisting)
        throw UsageError("--force and --skip-existing exclude each other");
    const bool readsStandardInput =
        std::any_of(inputs.list.begin(), inputs.list.end(), [](const Input& input) { return input.isStandardInput(); });
    if (!options.output) {
        if (!options.inPlace)
            throw UsageError("no output", "-o FILE, FOLDER/ or PATTERN");
        if (readsStandardInput)
            throw UsageError("standard input cannot be changed in place", "-o -");
        return Kind::inPlace;
    }
    const auto& output = *options.output;
    if (output.empty())
        throw UsageError("--output: an empty name");
    if (output == standardOutput) {
        if (inputs.several)
            throw UsageError("standard output takes one picture", "-o FOLDER/");
        if (::isatty(STDOUT_FILENO) == 1)
            throw UsageError("standard output is a terminal", "-o FILE");
        return Kind::standardOutput;
    }
    if (output.find_first_of("{}") != std::string::npos)
        return Kind::pattern;
    if (output.ends_with('/') || isFolder(output))
        return Kind::folder;
    if (!inputs.several)
        return Kind::file;
    // A new folder for many pictures may be named without a slash, unless it looks like a picture.
    if (formatOfFile(output) || factsOf(output))
        throw UsageError(fmt::format("{} takes one picture, there are {}", output, inputs.list.size()),
                         "-o FOLDER/ or -o 'FOLDER/{stem}.{ext}'");
    return Kind::folder;
}

OutputPlan::Kind OutputPlan::kindOfSeveral(const OutputOptions& options, const Inputs& inputs, Results results)
{
    if (options.inPlace)
        throw UsageError("several pictures cannot take the place of one", hintFor(results));
    switch (kindOf(options, inputs)) {
    case Kind::standardOutput:
        throw UsageError("standard output takes one picture", hintFor(results));
    case Kind::pattern:
        return Kind::pattern;
    case Kind::file:
        if (results == Results::pages)
            return Kind::file;
        if (formatOfFile(*options.output) || factsOf(*options.output))
            throw UsageError(fmt::format("{} takes one picture", *options.output), hintFor(results));
        break;
    case Kind::folder:
    case Kind::inPlace:
        break;
    }
    return Kind::folder;
}

/// Refuses patterns that do not tell the results of an input apart, or name what they have not.
void OutputPlan::checkPattern(const std::string& pattern) const
{
    if (results_ == Results::tiles) {
        if (!pattern_->namesRow() || !pattern_->namesColumn())
            throw UsageError(fmt::format("{}: {{row}} and {{col}} tell tiles apart", pattern), hintFor(results_));
        return;
    }
    if (pattern_->namesRow() || pattern_->namesColumn())
        throw UsageError(fmt::format("{}: {{row}} and {{col}} are of tiles", pattern), "zel help tiles");
    if (results_ == Results::numbered && !pattern_->namesNumber())
        throw UsageError(fmt::format("{}: {{n}} tells the results apart", pattern), hintFor(results_));
    if (results_ != Results::pages && pattern_->namesPage())
        throw UsageError(fmt::format("{}: {{page}} is of documents", pattern), "zel help render");
}

OutputPlan::Output OutputPlan::plan(const OutputOptions& options, const Input& input, std::optional<Format> asked,
                                    std::size_t index)
{
    Output output;
    switch (kind_) {
    case Kind::standardOutput:
        output.format = wantedFormat(input, {}, asked);
        output.path = std::string(standardOutput);
        break;
    case Kind::inPlace:
        output.format = wantedFormat(input, {}, asked);
        if (formatOfFile(input.name).value_or(output.format) != output.format)
            throw UsageError(fmt::format("{} would hold a {}", input.name, formatName(output.format)),
                             "--in-place keeps the name, so the format has to stay");
        output.path = resolved(input.name);
        output.mayReplace = true;
        break;
    case Kind::file:
        output.format = wantedFormat(input, extensionOf(*options.output), asked);
        output.path = *options.output;
        output.mayReplace = true;
        break;
    case Kind::folder: {
        output.format = wantedFormat(input, {}, asked);
        const auto extension = extensionFor(input, output.format);
        const auto name = fmt::format("{}{}.{}", stemFor(input), markOf(results_), extension);
        const auto folder = options.output->ends_with('/') ? *options.output : *options.output + '/';
        output.path = joinPath(folder + input.below, name).value_or(name);
        output.mayReplace = options.force;
        break;
    }
    case Kind::pattern:
        output.format = wantedFormat(input, pattern_->extension(), asked);
        output.mayReplace = options.force;
        names_.emplace_back(stemFor(input), extensionFor(input, output.format));
        output.path = results_ == Results::numbered || results_ == Results::pages
                          ? *options.output
                          : pattern_->expand({names_[index].first, names_[index].second, index + 1, {}, {}});
        break;
    }
    return output;
}

bool OutputPlan::replacesInput(const std::string& path, bool inPlace) const
{
    const auto facts = factsOf(path);
    if (!facts)
        return false;
    const Node node(facts->st_dev, facts->st_ino);
    if (std::binary_search(others_.begin(), others_.end(), node))
        throw UsageError(fmt::format("{}: the output is a file that the work needs", path));
    if (!std::binary_search(inputs_.begin(), inputs_.end(), node))
        return false;
    if (!inPlace)
        throw UsageError(fmt::format("{}: the output is an input", path), "--in-place");
    return true;
}

OutputPlan::Claim OutputPlan::claim(std::size_t input, int width, int height)
{
    const auto& output = outputs_[input];
    if (!pattern_ || !pattern_->needsSize())
        return {output.path, true};
    const auto& [stem, extension] = names_[input];
    return take(input, pattern_->expand({stem, extension, input + 1, width, height}));
}

OutputPlan::Claim OutputPlan::claim(std::size_t input, const Tile& tile)
{
    if (pattern_) {
        const auto& [stem, extension] = names_[input];
        return take(input,
                    pattern_->expand({stem, extension, input + 1, tile.width, tile.height, tile.row, tile.column}));
    }
    auto path = outputs_[input].path;
    path.replace(path.rfind(tileMark), tileMark.size(), fmt::format("-{}-{}", tile.row, tile.column));
    return take(input, std::move(path));
}

OutputPlan::Claim OutputPlan::claim(std::size_t input, const Piece& piece)
{
    if (pattern_) {
        const auto& [stem, extension] = names_[input];
        return take(input, pattern_->expand({stem, extension, piece.number, piece.width, piece.height}));
    }
    auto path = outputs_[input].path;
    const auto digits = std::to_string(piece.count).size();
    path.replace(path.rfind(numberMark), numberMark.size(), fmt::format("-{:0{}}", piece.number, digits));
    return take(input, std::move(path));
}

OutputPlan::Claim OutputPlan::claim(std::size_t input, const Page& page)
{
    if (pattern_) {
        const auto& [stem, extension] = names_[input];
        return take(input,
                    pattern_->expand({stem, extension, input + 1, page.width, page.height, {}, {}, page.number}));
    }
    auto path = outputs_[input].path;
    if (kind_ == Kind::folder) {
        const auto digits = std::to_string(page.count).size();
        path.replace(path.rfind(pageMark), pageMark.size(), fmt::format("-{:0{}}", page.number, digits));
    }
    return take(input, std::move(path));
}

/// Never in place: whether an input has been read already depends on the order in which threads come to it.
OutputPlan::Claim OutputPlan::take(std::size_t input, std::string path)
{
    try {
        (void)replacesInput(path, false);
    } catch (const UsageError&) {
        return {std::move(path), false};
    }
    const std::scoped_lock lock(mutex_);
    const bool isFree = taken_.emplace(comparable(path), input).second;
    return {std::move(path), isFree};
}

} // namespace zel::program
