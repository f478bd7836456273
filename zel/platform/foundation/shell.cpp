#include <zel/platform/foundation/shell.h>

#include <zel/platform/foundation/notes.h>

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace zel {
namespace {

constexpr std::string_view operation = "run";
constexpr std::size_t mostOutput = std::size_t{1} << 20; // of what is kept; the rest is read and dropped

/// A descriptor that is closed in the end, and not handed on to programs.
class Descriptor {
public:
    explicit Descriptor(int descriptor) : descriptor_(descriptor) {}
    ~Descriptor() { close(); }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    void close()
    {
        if (descriptor_ >= 0)
            ::close(descriptor_);
        descriptor_ = -1;
    }
    [[nodiscard]] int get() const { return descriptor_; }

private:
    int descriptor_;
};

std::string readAll(int descriptor)
{
    std::string text;
    std::array<char, 4096> piece{};
    for (;;) {
        const ssize_t length = ::read(descriptor, piece.data(), piece.size());
        if (length < 0 && errno == EINTR)
            continue;
        if (length <= 0)
            return text;
        text.append(piece.data(), std::min(static_cast<std::size_t>(length), mostOutput - text.size()));
    }
}

int spawn(const std::string& program, std::span<const std::string> arguments, int output, pid_t& process)
{
    std::vector<std::string> words = {program};
    words.insert(words.end(), arguments.begin(), arguments.end());
    std::vector<char*> pointers;
    for (std::string& word : words)
        pointers.push_back(word.data());
    pointers.push_back(nullptr);

    posix_spawn_file_actions_t actions;
    if (const int error = posix_spawn_file_actions_init(&actions); error != 0)
        return error;
    int error = posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0);
    if (error == 0)
        error = posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
    if (error == 0)
        error = posix_spawn(&process, program.c_str(), &actions, nullptr, pointers.data(), environ);
    posix_spawn_file_actions_destroy(&actions);
    return error;
}

} // namespace

std::optional<std::string> shell2(const std::string& launchPath, std::span<const std::string> arguments)
{
    std::array<int, 2> ends = {-1, -1};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0)
        return fail(ZelFailureCode::missingPart, operation,
                    fmt::format("cannot run {}: {}", launchPath, std::strerror(errno)));
    const Descriptor output(ends[0]);
    Descriptor given(ends[1]);
    pid_t process = -1;
    if (const int error = spawn(launchPath, arguments, given.get(), process); error != 0)
        return fail(ZelFailureCode::missingPart, operation,
                    fmt::format("cannot run {}: {}", launchPath, std::strerror(error)));
    given.close();
    std::string text = readAll(output.get());
    int status = 0;
    while (::waitpid(process, &status, 0) < 0 && errno == EINTR) {}
    if (text.ends_with('\n'))
        text.pop_back();
    return text;
}

} // namespace zel
