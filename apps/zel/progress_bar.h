#pragma once
#include "common_options.h"

#include <chrono>

namespace zel::program {

/// One line on standard error that shows how far a run has come and how long it will take. Not for several threads at
/// once; its owner locks.
class ProgressBar {
public:
    ProgressBar(ProgressMode mode, bool quiet, std::size_t inputs);

    [[nodiscard]] bool isWanted() const { return wanted_; }
    /// `done` inputs and the fractions of those under way, added up. Draws at most ten times a second.
    void show(std::size_t done, double underWay);
    /// Takes the line away, so that something else can be written.
    void clear();

private:
    using Clock = std::chrono::steady_clock;

    bool wanted_;
    bool drawn_ = false;
    std::size_t inputs_;
    Clock::time_point start_;
    Clock::time_point next_;
};

/// "4 s left", "2 min left", "3 h left".
std::string timeLeftText(double seconds);

} // namespace zel::program
