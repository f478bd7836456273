#include "inputs.h"

#include "interrupt.h"
#include "picture_formats.h"

#include <zel/platform/foundation/file_calls.h>
#include <zel/platform/foundation/guards.h>
#include <zel/platform/foundation/notes.h>
#include <zel/platform/foundation/url.h>

#include <fmt/format.h>

#include <algorithm>
#include <cerrno>
#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

namespace zel::program {
namespace {

struct DirectoryCloser {
    void operator()(DIR* directory) const { closedir(directory); }
};

struct Entry {
    std::string name;
    bool isFolder;
};

/// The visible entries of a folder, by name: regular files with a picture's name, and folders (not links to folders,
/// which may lead round in circles).
std::vector<Entry> entriesOf(const std::string& folder)
{
    const std::unique_ptr<DIR, DirectoryCloser> directory(opendir(folder.c_str()));
    if (!directory)
        throw UsageError(fmt::format("{}: {}", folder, errorText(errno)));
    std::vector<Entry> entries;
    while (const dirent* const found = readdir(directory.get())) {
        const std::string name = found->d_name;
        // Hidden files are not meant for batches; "." and ".." are among them.
        if (name.starts_with('.'))
            continue;
        struct stat facts = {};
        const auto path = joinPath(folder, name).value_or(std::string());
        if (lstat(path.c_str(), &facts) != 0)
            continue;
        if (S_ISDIR(facts.st_mode))
            entries.push_back({name, true});
        else if (hasPictureExtension(name) && (S_ISREG(facts.st_mode) || S_ISLNK(facts.st_mode)))
            entries.push_back({name, false});
    }
    std::sort(entries.begin(), entries.end(), [](const Entry& a, const Entry& b) { return a.name < b.name; });
    return entries;
}

/// All of standard input. Absent with the reason noted: more than the limit of input bytes, interrupted.
std::optional<Data> readStandardInput()
{
    const auto limit = ZelLimits::current().inputBytes;
    std::vector<std::uint8_t> bytes;
    constexpr std::size_t step = 1 << 16;
    std::size_t filled = 0;
    while (true) {
        if (bytes.size() - filled < step)
            bytes.resize(std::max(bytes.size() * 2, filled + step));
        const auto got = ::read(STDIN_FILENO, bytes.data() + filled, bytes.size() - filled);
        if (got < 0 && errno == EINTR) {
            if (interrupted())
                return fail(ZelFailureCode::cancelled, "read", "interrupted", "standard input");
            continue;
        }
        if (got < 0)
            return fail(ZelFailureCode::unreadable, "read", errorText(errno), "standard input");
        if (got == 0)
            break;
        filled += static_cast<std::size_t>(got);
        if (filled > limit)
            return fail(ZelFailureCode::limit, "read", fmt::format("more than {} bytes, which is the limit", limit),
                        "standard input");
    }
    bytes.resize(filled);
    return Data(std::move(bytes));
}

class Collector {
public:
    explicit Collector(bool recursive) : recursive_(recursive) {}

    void take(const std::string& name)
    {
        if (name.empty())
            throw UsageError("an input has an empty name");
        struct stat facts = {};
        const bool exists = stat(name.c_str(), &facts) == 0;
        if (!exists || !S_ISDIR(facts.st_mode)) {
            inputs_.list.push_back({name, {}, {}, nullptr, {}, exists ? facts.st_dev : 0, exists ? facts.st_ino : 0});
            return;
        }
        if (!recursive_)
            throw UsageError(fmt::format("{}: a folder", name), "-r takes the pictures in it");
        inputs_.several = true;
        takeFolder(name.ends_with('/') ? name.substr(0, name.size() - 1) : name, {});
    }

    void takeStandardInput()
    {
        const auto isIt = [](const Input& input) { return input.isStandardInput(); };
        if (std::any_of(inputs_.list.begin(), inputs_.list.end(), isIt))
            throw UsageError("standard input can be read once only");
        Input input;
        input.name = Input::standardInput;
        if (auto bytes = readStandardInput())
            input.bytes = std::make_shared<const Data>(std::move(*bytes));
        else
            input.failure = ZelFailure::last();
        inputs_.list.push_back(std::move(input));
    }

    void isList() { inputs_.several = true; }

    Inputs result() &&
    {
        inputs_.several = inputs_.several || inputs_.list.size() > 1;
        return std::move(inputs_);
    }

private:
    void takeFolder(const std::string& folder, const std::string& below)
    {
        for (const auto& [name, isFolder] : entriesOf(folder)) {
            const auto path = joinPath(folder, name).value_or(std::string());
            if (isFolder) {
                takeFolder(path, below + name + "/");
                continue;
            }
            struct stat facts = {};
            const bool exists = stat(path.c_str(), &facts) == 0;
            inputs_.list.push_back(
                {path, {}, below, nullptr, {}, exists ? facts.st_dev : 0, exists ? facts.st_ino : 0});
        }
    }

    bool recursive_;
    Inputs inputs_;
};

std::string readList(const std::string& name)
{
    const auto bytes = name == "-" ? readStandardInput() : Data::read(URL::file(name));
    if (!bytes)
        throw UsageError(ZelFailure::last().message);
    return std::string(bytes->span().begin(), bytes->span().end());
}

} // namespace

Inputs collectInputs(const InputOptions& options)
{
    Collector collector(options.recursive);
    for (const auto& word : options.words) {
        if (word == "-")
            collector.takeStandardInput();
        else
            collector.take(word);
    }
    if (options.filesFrom) {
        if (*options.filesFrom == "-" && std::count(options.words.begin(), options.words.end(), "-") > 0)
            throw UsageError("standard input can be read once only");
        collector.isList();
        const auto list = readList(*options.filesFrom);
        const char separator = options.nullSeparated ? '\0' : '\n';
        for (std::size_t first = 0; first < list.size();) {
            const auto end = std::min(list.find(separator, first), list.size());
            if (end > first)
                collector.take(list.substr(first, end - first));
            first = end + 1;
        }
    } else if (options.nullSeparated) {
        throw UsageError("-0 tells how --files-from is read, which is not given");
    }
    if (options.words.empty() && !options.filesFrom)
        throw UsageError("no input");
    auto inputs = std::move(collector).result();
    if (inputs.list.empty())
        throw UsageError("no pictures in what was named");
    return inputs;
}

Ref<ZelImage> openInput(const Input& input)
{
    if (!input.isStandardInput())
        return makeZelImage(URL::file(input.name));
    if (input.failure)
        return fail(input.failure->code, input.failure->operation, input.failure->message, input.failure->subject);
    return makeZelImage(*input.bytes);
}

} // namespace zel::program
