#include <zel/platform/foundation/shell.h>

#include <zel/platform/foundation/guards.h>
#include <zel/platform/foundation/notes.h>

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <thread>
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

/// All that comes until the other end is closed; absent where the deadline passes first.
std::optional<std::string> readAll(int descriptor, const Deadline& deadline)
{
    constexpr int look = 50; // milliseconds
    std::string text;
    std::array<char, 4096> piece{};
    while (!deadline.passed()) {
        pollfd waiting{descriptor, POLLIN, 0};
        if (::poll(&waiting, 1, look) <= 0)
            continue;
        const ssize_t length = ::read(descriptor, piece.data(), piece.size());
        if (length < 0 && errno == EINTR)
            continue;
        if (length <= 0)
            return text;
        text.append(piece.data(), std::min(static_cast<std::size_t>(length), mostOutput - text.size()));
    }
    return std::nullopt;
}

/// False where the deadline passes first.
bool waitFor(pid_t process, const Deadline& deadline)
{
    constexpr std::chrono::milliseconds longest(20);
    for (std::chrono::milliseconds pause(1);; pause = std::min(2 * pause, longest)) {
        const pid_t ended = ::waitpid(process, nullptr, WNOHANG);
        if (ended == process || (ended < 0 && errno != EINTR))
            return true;
        if (deadline.passed())
            return false;
        std::this_thread::sleep_for(pause);
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
    // A group of its own, so that what it starts ends with it.
    posix_spawnattr_t attributes;
    if (error == 0)
        error = posix_spawnattr_init(&attributes);
    if (error == 0) {
        posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETPGROUP);
        error = posix_spawn(&process, program.c_str(), &actions, &attributes, pointers.data(), environ);
        posix_spawnattr_destroy(&attributes);
    }
    posix_spawn_file_actions_destroy(&actions);
    return error;
}

} // namespace

std::optional<std::string> shell2(const std::string& launchPath, std::span<const std::string> arguments,
                                  std::chrono::milliseconds time)
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
    const Deadline deadline(time);
    std::optional<std::string> text = readAll(output.get(), deadline);
    if (!text || !waitFor(process, deadline)) {
        ::kill(-process, SIGKILL);
        while (::waitpid(process, nullptr, 0) < 0 && errno == EINTR) {}
        return fail(
            ZelFailureCode::limit, operation,
            fmt::format("{} has not ended within {:.3g} s", launchPath, static_cast<double>(time.count()) / 1000));
    }
    if (text->ends_with('\n'))
        text->pop_back();
    return text;
}

} // namespace zel
