#include <zel/platform/services/network_policy.h>

#include <algorithm>
#include <array>

namespace zel {
namespace {

bool isPrivate4(std::uint32_t address)
{
    struct Range {
        std::uint32_t first, bits;
    };
    // "This" network, private use, shared space, loopback, link-local, private use, protocol assignments, private use,
    // benchmarks, multicast and reserved.
    constexpr std::array<Range, 10> ranges = {{{0x00000000, 8},
                                               {0x0A000000, 8},
                                               {0x64400000, 10},
                                               {0x7F000000, 8},
                                               {0xA9FE0000, 16},
                                               {0xAC100000, 12},
                                               {0xC0000000, 24},
                                               {0xC0A80000, 16},
                                               {0xC6120000, 15},
                                               {0xE0000000, 3}}};
    return std::any_of(ranges.begin(), ranges.end(), [address](const Range& range) {
        return address >> (32 - range.bits) == range.first >> (32 - range.bits);
    });
}

bool isPrivate6(std::span<const std::uint8_t> bytes)
{
    const auto four = [&bytes](std::size_t from) {
        return std::uint32_t{bytes[from]} << 24U | std::uint32_t{bytes[from + 1]} << 16U |
               std::uint32_t{bytes[from + 2]} << 8U | bytes[from + 3];
    };
    if (four(0) == 0 && four(4) == 0 && (four(8) == 0 || four(8) == 0xFFFF))
        return isPrivate4(four(12)); // an IPv4 address written as IPv6; :: and ::1 are of "this" network
    if (four(0) == 0x0064FF9B)
        return isPrivate4(four(12)) || four(4) != 0 || four(8) != 0; // translated IPv4, for local use where not zero
    if (bytes[0] == 0x20 && bytes[1] == 0x02)
        return isPrivate4(four(2)); // IPv4 by way of a relay
    const bool isLocal = (bytes[0] & 0xFEU) == 0xFC, isLink = bytes[0] == 0xFE && (bytes[1] & 0x80U) != 0;
    return isLocal || isLink || bytes[0] == 0xFF;
}

} // namespace

bool isPrivateAddress(std::span<const std::uint8_t> address)
{
    constexpr std::size_t bytesOf4 = 4, bytesOf6 = 16;
    if (address.size() == bytesOf4)
        return isPrivate4(std::uint32_t{address[0]} << 24U | std::uint32_t{address[1]} << 16U |
                          std::uint32_t{address[2]} << 8U | address[3]);
    return address.size() != bytesOf6 || isPrivate6(address);
}

bool NetworkPolicy::allows(std::span<const std::uint8_t> address, bool redirected)
{
    if (networks_ == AddressPolicy::Networks::all || !isPrivateAddress(address))
        return true;
    if (networks_ == AddressPolicy::Networks::publicOnly)
        return false;
    const std::vector<std::uint8_t> bytes(address.begin(), address.end());
    if (redirected)
        return std::find(named_.begin(), named_.end(), bytes) != named_.end();
    named_.push_back(bytes);
    return true;
}

} // namespace zel
