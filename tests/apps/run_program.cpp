#include "apps/run_program.h"

#include <algorithm>
#include <csignal>
#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>

namespace zel::testing {
namespace {

std::vector<char*> pointersTo(std::vector<std::string>& texts)
{
    std::vector<char*> pointers;
    for (auto& text : texts)
        pointers.push_back(text.data());
    pointers.push_back(nullptr);
    return pointers;
}

} // namespace

Running::Running(const TemporaryFolder& folder, const Command& command) : files_(true)
{
    files_.put("in", command.input);
    std::vector<std::string> words = command.before;
    words.emplace_back(ZEL_PROGRAM);
    words.insert(words.end(), command.words.begin(), command.words.end());
    std::vector<std::string> environment = command.environment;
    for (char** variable = environ; *variable != nullptr; ++variable)
        environment.emplace_back(*variable);

    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDIN_FILENO, (files_ / "in").c_str(), O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, (files_ / "out").c_str(), O_WRONLY | O_CREAT, 0600);
    posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, (files_ / "err").c_str(), O_WRONLY | O_CREAT, 0600);
    posix_spawn_file_actions_addchdir_np(&actions, folder.path().c_str());
    // Whoever started the tests in the background may have had interrupts ignored for us; the program keeps that.
    posix_spawnattr_t attributes;
    posix_spawnattr_init(&attributes);
    sigset_t interrupts;
    sigemptyset(&interrupts);
    sigaddset(&interrupts, SIGINT);
    posix_spawnattr_setsigdefault(&attributes, &interrupts);
    posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);
    const int error = posix_spawnp(&process_, words.front().c_str(), &actions, &attributes, pointersTo(words).data(),
                                   pointersTo(environment).data());
    posix_spawnattr_destroy(&attributes);
    posix_spawn_file_actions_destroy(&actions);
    if (error != 0)
        throw std::runtime_error(words.front() + " cannot be started");
}

Running::~Running()
{
    if (ended_)
        return;
    kill(process_, SIGKILL);
    waitpid(process_, nullptr, 0);
}

bool Running::collect(int options)
{
    rusage used{};
    ended_ = ended_ || wait4(process_, &raw_, options, &used) == process_;
    peak_ = std::max(peak_, used.ru_maxrss);
    return ended_;
}

bool Running::hasEnded()
{
    return collect(WNOHANG);
}

Ended Running::wait()
{
    collect(0);
    const int status = WIFSIGNALED(raw_) ? -WTERMSIG(raw_) : WEXITSTATUS(raw_);
    return {status, files_.text("out"), files_.text("err"), peak_};
}

Ended zel(const TemporaryFolder& folder, const Command& command)
{
    return Running(folder, command).wait();
}

Ended zel(const TemporaryFolder& folder, std::vector<std::string> words)
{
    return zel(folder, Command{.words = std::move(words)});
}

bool isInstalled(const std::string& program)
{
    const char* const path = std::getenv("PATH");
    std::string folders = path == nullptr ? "" : path;
    for (std::size_t first = 0; first <= folders.size();) {
        const auto end = std::min(folders.find(':', first), folders.size());
        if (access((std::filesystem::path(folders.substr(first, end - first)) / program).c_str(), X_OK) == 0)
            return true;
        first = end + 1;
    }
    return false;
}

} // namespace zel::testing
