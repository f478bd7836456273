#pragma once
#include <zel/platform/foundation/address_policy.h>

#include <cstdint>
#include <span>

namespace zel {

/// Whether an IPv4 or IPv6 address (4 or 16 bytes, the highest first) is none of the public internet: of this machine,
/// a private network, a link, a group, or reserved (RFC 6890). Any other number of bytes counts as private.
bool isPrivateAddress(std::span<const std::uint8_t> address);

/// Which machines one transfer may connect to. Asked when a socket is about to be opened, after names were resolved, so
/// that a name that changes its meaning between two looks gains nothing.
class NetworkPolicy {
public:
    explicit NetworkPolicy(AddressPolicy::Networks networks) : networks_(networks) {}
    /// `redirected`: a server named the address, not the caller.
    [[nodiscard]] bool allows(std::span<const std::uint8_t> address, bool redirected);

private:
    AddressPolicy::Networks networks_;
    std::vector<std::vector<std::uint8_t>> named_; ///< private addresses that the caller's own address led to
};

} // namespace zel
