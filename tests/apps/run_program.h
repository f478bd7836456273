#pragma once
#include "foundation/temporary_folder.h"

#include <sys/types.h>

namespace zel::testing {

struct Ended {
    int status = 0; ///< exit status; minus the signal where one ended it
    std::string out, err;
    long peak = 0; ///< KiB resident at most, of the program or of the largest that it ran
};

struct Command {
    std::vector<std::string> words;            ///< behind "zel"
    std::string input = {};                    ///< standard input
    std::vector<std::string> before = {};      ///< a program that runs it: {"strace", "-f"}
    std::vector<std::string> environment = {}; ///< further "NAME=value"
};

/// A run of the program in a folder; its output goes into files, so that neither side waits for the other.
class Running {
public:
    Running(const TemporaryFolder& folder, const Command& command);
    ~Running();
    Running(const Running&) = delete;
    Running& operator=(const Running&) = delete;

    [[nodiscard]] pid_t process() const { return process_; }
    /// True once it has ended, which `wait` then tells at once.
    [[nodiscard]] bool hasEnded();
    Ended wait();

private:
    bool collect(int options);

    TemporaryFolder files_; ///< what it reads and writes
    pid_t process_ = -1;
    int raw_ = 0;
    long peak_ = 0;
    bool ended_ = false;
};

/// Runs the program to its end.
Ended zel(const TemporaryFolder& folder, const Command& command);
Ended zel(const TemporaryFolder& folder, std::vector<std::string> words);

/// True where a program of that name is on the PATH.
bool isInstalled(const std::string& program);

} // namespace zel::testing
