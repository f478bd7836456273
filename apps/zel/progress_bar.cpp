#include "progress_bar.h"

#include "text.h"

#include <fmt/format.h>

#include <algorithm>
#include <unistd.h>

namespace zel::program {
namespace {

using namespace std::chrono_literals;

// Most runs are over before anyone would have read the bar.
constexpr auto silence = 700ms;
constexpr auto interval = 100ms;
constexpr int barWidth = 30;

bool isWantedBy(ProgressMode mode)
{
    return mode == ProgressMode::always || (mode == ProgressMode::automatic && ::isatty(STDERR_FILENO) == 1);
}

} // namespace

ProgressBar::ProgressBar(ProgressMode mode, bool quiet, std::size_t inputs)
    : wanted_(!quiet && inputs > 0 && isWantedBy(mode)),
      inputs_(inputs),
      start_(Clock::now()),
      next_(start_ + (mode == ProgressMode::always ? 0ms : silence))
{
}

void ProgressBar::show(std::size_t done, double underWay)
{
    const auto now = Clock::now();
    if (!wanted_ || now < next_)
        return;
    next_ = now + interval;
    const double fraction = std::clamp((static_cast<double>(done) + underWay) / static_cast<double>(inputs_), 0.0, 1.0);
    const auto filled = static_cast<int>(fraction * barWidth);
    auto line = fmt::format("\r[{:#<{}}{:<{}}] {:3.0f} %", "", filled, "", barWidth - filled, fraction * 100);
    if (inputs_ > 1)
        line += fmt::format("  {}/{}", done, inputs_);
    if (fraction > 0 && fraction < 1) {
        const double elapsed = std::chrono::duration<double>(now - start_).count();
        line += "  " + timeLeftText(elapsed / fraction * (1 - fraction));
    }
    writeErrorRaw(line + "\x1b[K");
    drawn_ = true;
}

void ProgressBar::clear()
{
    if (drawn_)
        writeErrorRaw("\r\x1b[K");
    drawn_ = false;
}

std::string timeLeftText(double seconds)
{
    if (seconds < 99.5)
        return fmt::format("{:.0f} s left", std::max(seconds, 1.0));
    return seconds < 90 * 60 ? fmt::format("{:.0f} min left", seconds / 60)
                             : fmt::format("{:.0f} h left", seconds / 3600);
}

} // namespace zel::program
