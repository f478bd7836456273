#include <zel/platform/foundation/atomic_write.h>
#include <zel/platform/foundation/modules.h>
#include <zel/platform/foundation/notes.h>
#include <zel/platform/foundation/shell.h>
#include <zel/support/notify.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <filesystem>
#include <mutex>

namespace zel {
namespace {

constexpr std::string_view operation = "resize by program";
constexpr std::chrono::seconds mostTime(60); // the program's own limits end it sooner
constexpr std::string_view programName = "CLIImageResizer";
constexpr std::string_view inBundle = "/Contents/Frameworks/ZelImage.framework/Versions/A/Resources/";

struct ProgramPath {
    std::mutex mutex;
    std::string path;
};

ProgramPath& chosen()
{
    static ProgramPath& path = *new ProgramPath; // never destroyed, like what may be asked at the very end
    return path;
}

/// The folder X of a program in X/Contents/…, else the program's folder.
std::string bundlePath()
{
    std::error_code ignored;
    const std::string program = std::filesystem::read_symlink("/proc/self/exe", ignored).string();
    if (const auto contents = program.rfind("/Contents/"); contents != std::string::npos)
        return program.substr(0, contents);
    return program.substr(0, program.rfind('/'));
}

bool isProgram(const std::string& path)
{
    std::error_code ignored;
    return std::filesystem::is_regular_file(path, ignored);
}

/// The program's path, whether it is there or not.
std::string programPath()
{
    {
        const std::scoped_lock lock(chosen().mutex);
        if (!chosen().path.empty())
            return chosen().path;
    }
    const std::string bundled = bundlePath().append(inBundle).append(programName);
    if (isProgram(bundled))
        return bundled;
    return installedProgram(programName).value_or(bundled);
}

/// DONE, done, Done at the end of the answer.
bool endsWithDone(std::string_view answer)
{
    constexpr std::string_view done = "DONE";
    if (answer.size() < done.size())
        return false;
    const std::string_view end = answer.substr(answer.size() - done.size());
    return std::equal(end.begin(), end.end(), done.begin(), [](char a, char b) {
        return (a >= 'a' && a <= 'z' ? static_cast<char>(a - 'a' + 'A') : a) == b;
    });
}

} // namespace

bool ZelCLIImageResizer::resize(const URL& source, To destination)
{
    const std::array<std::string, 3> arguments = {source.filePath().string(), destination.to.filePath().string(),
                                                  std::to_string(destination.maxSize)};
    if (arguments[0].empty() || arguments[1].empty())
        return fail(ZelFailureCode::invalidArgument, operation, "source and destination have to be files");
    const auto answer = shell2(programPath(), arguments, mostTime);
    if (answer && endsWithDone(*answer))
        return true;
    std::error_code ignored;
    if (!std::filesystem::equivalent(arguments[0], arguments[1], ignored))
        removeTarget(destination.to);
    if (answer)
        return fail(ZelFailureCode::unreadable, operation, "the program has not resized the file", arguments[0]);
    return false;
}

void ZelCLIImageResizer::setProgramPath(const std::string& path)
{
    const std::scoped_lock lock(chosen().mutex);
    chosen().path = path;
}

} // namespace zel
