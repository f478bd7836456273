#include "text.h"

#include <atomic>
#include <cerrno>
#include <unistd.h>

namespace zel::program {
namespace {

std::atomic<bool> lost = false;

bool writeAll(int descriptor, std::string_view text)
{
    while (!text.empty()) {
        const auto written = ::write(descriptor, text.data(), text.size());
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            return false;
        text.remove_prefix(static_cast<std::size_t>(written));
    }
    return true;
}

} // namespace

void writeOut(std::string_view text)
{
    if (!writeAll(STDOUT_FILENO, text))
        lost = true;
}

bool outputFailed()
{
    return lost;
}

void writeError(std::string_view line)
{
    std::string whole(line);
    whole += '\n';
    writeErrorRaw(whole);
}

void writeErrorRaw(std::string_view text)
{
    // Where standard error is closed there is nobody left to be told.
    (void)writeAll(STDERR_FILENO, text);
}

std::string printable(std::string_view text)
{
    std::string result;
    result.reserve(text.size());
    for (std::size_t i = 0; i < text.size(); ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        const auto next = i + 1 < text.size() ? static_cast<unsigned char>(text[i + 1]) : 0;
        if (byte < 0x20 || byte == 0x7F) {
            result += '?';
        } else if (byte == 0xC2 && next >= 0x80 && next < 0xA0) {
            result += '?';
            ++i;
        } else {
            result += text[i];
        }
    }
    return result;
}

} // namespace zel::program
