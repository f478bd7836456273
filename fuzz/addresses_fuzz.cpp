// Addresses from outside: what a text means as an address, which file it is kept in, and where it may lead. The first
// byte chooses between a text and the numbers of machines.
#include "target.h"

#include <zel/platform/foundation/failure.h>
#include <zel/platform/foundation/guards.h>
#include <zel/platform/foundation/identifiers.h>
#include <zel/platform/services/http.h>
#include <zel/platform/services/network_policy.h>

#include <algorithm>
#include <array>
#include <string>

namespace {

using namespace zel;
using fuzz::require;

bool beginsWith(const std::string& text, std::string_view lower)
{
    return text.size() >= lower.size() && std::equal(lower.begin(), lower.end(), text.begin(), [](char a, char b) {
               return a == (b >= 'A' && b <= 'Z' ? static_cast<char>(b + ('a' - 'A')) : b);
           });
}

void checkResolved(const URL& address)
{
    const auto web = *URL::parse("http://host/folder/page?query"), file = *URL::parse("file:///folder/page");
    const std::string text = address.absoluteString();
    const URL onWeb = address.resolved(web), onDisk = address.resolved(file);
    require(onWeb == address || onWeb.absoluteString().starts_with("http://host"), "an address of the same host");
    require(onDisk == address || onDisk.isFile(), "a file beside a file");
    require(onWeb.isFile() == address.isFile(), "no file by way of a page");
}

void checkAddress(const std::string& text)
{
    const auto address = URL::parse(text);
    if (!address)
        return;
    const std::string canonical = address->absoluteString();
    require(URL::parse(canonical) == address, "the same address when it is read again");
    require(canonical.find_first_of(std::string("\0\r\n", 3)) == std::string::npos, "an address on one line");
    const auto path = address->filePath();
    require(path.empty() != address->isFile(), "a path for files alone");
    require(path.empty() || path.is_absolute(), "an absolute path");
    require(path.native().find('\0') == std::string::npos, "a path without a zero byte");

    const std::string name = ZelId::md5(address->path());
    require(name.size() == 32 && name.find_first_not_of("0123456789abcdef") == std::string::npos, "a name of digits");
    require(joinPath("folder", name + ".jpg") == "folder/" + name + ".jpg", "a file of the folder");

    // What documents may name.
    AddressPolicy::setAllowedFolders({URL::file("/allowed/folder")});
    if (AddressPolicy::allows(*address, "open"))
        require(path.native().starts_with("/allowed/folder/") || path.native().starts_with("//allowed/folder/") ||
                    path.lexically_normal().native().starts_with("/allowed/folder/"),
                "a file of the folder that is allowed");
    if (!address->isFile() && !beginsWith(canonical, "http://") && !beginsWith(canonical, "https://")) {
        ZelFailure::clear();
        require(!fetch(*address) && ZelFailure::last().code == ZelFailureCode::unsupported, "no other schemes");
    }
    checkResolved(*address);
}

/// The first bits of addresses that are none of the public internet, as text of 0 and 1.
bool isKnownAsPrivate4(const std::string& bits)
{
    constexpr std::array<std::string_view, 10> prefixes = {"00000000",
                                                           "00001010",
                                                           "0110010001",
                                                           "01111111",
                                                           "1010100111111110",
                                                           "101011000001",
                                                           "110000000000000000000000",
                                                           "1100000010101000",
                                                           "110001100001001",
                                                           "111"};
    return std::any_of(prefixes.begin(), prefixes.end(),
                       [&](std::string_view prefix) { return bits.starts_with(prefix); });
}

bool isKnownAsPrivate(std::span<const std::uint8_t> address)
{
    std::string bits;
    for (const std::uint8_t byte : address)
        for (int bit = 7; bit >= 0; --bit)
            bits += (byte >> bit & 1) != 0 ? '1' : '0';
    if (bits.size() == 32)
        return isKnownAsPrivate4(bits);
    const std::string zeros(80, '0'), ones(16, '1');
    if (bits.starts_with(zeros + ones) || bits.starts_with(zeros + std::string(16, '0')))
        return isKnownAsPrivate4(bits.substr(96));
    return bits.starts_with("1111110") || bits.starts_with("111111101") || bits.starts_with("11111111");
}

void checkMachines(fuzz::Choices choices)
{
    using Networks = AddressPolicy::Networks;
    const auto networks = static_cast<Networks>(choices.number(0, 2));
    NetworkPolicy policy(networks);
    std::vector<std::vector<std::uint8_t>> named;
    bool isRedirected = false;
    while (choices.any()) {
        const std::uint8_t kind = choices.byte();
        isRedirected = isRedirected || (kind & 0x80U) != 0;
        std::vector<std::uint8_t> address(kind % 3 == 0 ? 16U : kind % 3 == 1 ? 4U : kind % 21U);
        for (std::uint8_t& byte : address)
            byte = choices.byte();
        const bool isAllowed = policy.allows(address, isRedirected);
        const bool isIp = address.size() == 4 || address.size() == 16;
        const bool isPrivate = !isIp || isKnownAsPrivate(address);
        require(!isPrivate || isPrivateAddress(address), "private what is known to be private");
        if (networks == Networks::all)
            require(isAllowed, "everything allowed");
        if (networks == Networks::publicOnly)
            require(!(isAllowed && isPrivate), "nothing private");
        if (networks == Networks::named && isRedirected)
            require(!(isAllowed && isPrivate) || std::find(named.begin(), named.end(), address) != named.end(),
                    "no private address that the caller did not name");
        if (!isRedirected)
            named.push_back(address);
    }
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size == 0)
        return 0;
    if (data[0] % 2 == 0)
        checkAddress({reinterpret_cast<const char*>(data) + 1, size - 1});
    else
        checkMachines({data + 1, size - 1});
    return 0;
}
