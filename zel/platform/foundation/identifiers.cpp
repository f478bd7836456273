#include <zel/platform/foundation/identifiers.h>

#include <array>
#include <atomic>
#include <chrono>
#include <fmt/format.h>
#include <md5.h>
#include <random>
#include <unistd.h>

namespace zel {
namespace {

// The finaliser of SplitMix64 (Steele, Lea, Flood 2014): different numbers stay different and look unrelated.
std::uint64_t mixed(std::uint64_t value)
{
    value = (value ^ (value >> 30)) * 0xBF58476D1CE4E5B9U;
    value = (value ^ (value >> 27)) * 0x94D049BB133111EBU;
    return value ^ (value >> 31);
}

std::uint64_t randomStart()
{
    const auto ticks = std::chrono::steady_clock::now().time_since_epoch().count();
    std::uint64_t start = mixed(static_cast<std::uint64_t>(ticks));
    try {
        std::random_device device;
        start ^= (std::uint64_t{device()} << 32) | device();
    } catch (const std::exception&) { // NOLINT(bugprone-empty-catch): no source of randomness; the clock must do
    }
    return start;
}

} // namespace

std::string ZelId::newId(NewIdOptions options)
{
    static const std::uint64_t start = randomStart();
    static std::atomic<std::uint64_t> count = 0;
    // A child made by `fork` has our start and count, but a number of its own.
    const std::uint64_t process = mixed(start + static_cast<std::uint64_t>(getpid()));
    const std::uint64_t own = ++count;
    std::string id;
    for (const std::string_view part : {options.prefix, options.infix})
        if (!part.empty())
            (id += part) += '-';
    return id += options.useCounter ? fmt::format("{:016x}-{:08x}", process, own)
                                    : fmt::format("{:016x}{:016x}", process, mixed(process ^ own));
}

std::string ZelId::md5(std::string_view text)
{
    std::array<char, MD5_DIGEST_STRING_LENGTH> digits{};
    MD5Data(reinterpret_cast<const std::uint8_t*>(text.data()), text.size(), digits.data());
    return digits.data();
}

} // namespace zel
