#include "network_options.h"

#include "quantity.h"

#include <zel/platform/foundation/address_policy.h>
#include <zel/platform/foundation/limits.h>

#include <fmt/format.h>

#include <algorithm>
#include <array>

namespace zel::program {

void NetworkOptions::declare(Arguments& arguments)
{
    arguments.section("Network");
    arguments.value("--max-download", "SIZE", maxDownload, readSize, "bytes that an address may give (128 MiB)");
    arguments.value("--transfer-time", "TIME", transferTime, readDuration,
                    "what a transfer may take, waiting included (60); 0 = any");
    arguments.flag("--public-only", publicOnly, "no addresses of this machine and of private networks");
    arguments.flag("--allow-private", allowPrivate, "redirects may lead there, too, not only addresses that are named");
}

void NetworkOptions::check() const
{
    if (publicOnly && allowPrivate)
        throw UsageError("--public-only and --allow-private exclude each other");
}

void NetworkOptions::apply() const
{
    ZelLimits limits = ZelLimits::current();
    if (maxDownload)
        limits.downloadBytes = static_cast<std::uint64_t>(*maxDownload);
    if (transferTime)
        limits.downloadTime = *transferTime;
    ZelLimits::setDefault(limits);
    using Networks = AddressPolicy::Networks;
    AddressPolicy::setNetworks(publicOnly ? Networks::publicOnly : allowPrivate ? Networks::all : Networks::named);
}

URL readAddress(std::string_view text)
{
    std::string scheme(text.substr(0, std::min(text.find(':'), text.size())));
    for (char& letter : scheme)
        letter = letter >= 'A' && letter <= 'Z' ? static_cast<char>(letter + ('a' - 'A')) : letter;
    constexpr std::array<std::string_view, 3> known = {"http", "https", "file"};
    const auto address = URL::parse(text);
    if (!address || scheme.size() == text.size() || std::find(known.begin(), known.end(), scheme) == known.end())
        throw UsageError(fmt::format("'{}' is no address", text), "http://HOST/PATH");
    return *address;
}

} // namespace zel::program
