#include <zel/platform/services/network_policy.h>

#include <arpa/inet.h>
#include <gtest/gtest.h>

namespace zel {
namespace {

using Bytes = std::vector<std::uint8_t>;
using Networks = AddressPolicy::Networks;

Bytes bytesOf(const std::string& text)
{
    Bytes bytes(text.find(':') == std::string::npos ? 4 : 16);
    if (inet_pton(bytes.size() == 4 ? AF_INET : AF_INET6, text.c_str(), bytes.data()) != 1)
        ADD_FAILURE() << text;
    return bytes;
}

TEST(NetworkPolicy, KnowsThePublicInternet)
{
    for (const char* text :
         {"1.1.1.1",          "9.255.255.255",     "11.0.0.0",        "100.63.255.255", "100.128.0.0",
          "126.255.255.255",  "128.0.0.0",         "169.253.255.255", "169.255.0.0",    "172.15.255.255",
          "172.32.0.0",       "192.0.1.0",         "192.167.255.255", "192.169.0.0",    "198.17.255.255",
          "198.20.0.0",       "223.255.255.255",   "2606:4700::1",    "2001:db8::1",    "fbff::1",
          "64:ff9b::808:808", "2002:0808:0808::1", "::ffff:8.8.8.8"})
        EXPECT_FALSE(isPrivateAddress(bytesOf(text))) << text;
    for (const char* text : {"0.0.0.0",
                             "0.255.255.255",
                             "10.0.0.0",
                             "10.255.255.255",
                             "100.64.0.0",
                             "100.127.255.255",
                             "127.0.0.1",
                             "127.255.255.255",
                             "169.254.169.254",
                             "172.16.0.0",
                             "172.31.255.255",
                             "192.0.0.255",
                             "192.168.0.0",
                             "192.168.255.255",
                             "198.18.0.0",
                             "198.19.255.255",
                             "224.0.0.1",
                             "240.0.0.0",
                             "255.255.255.255",
                             "::",
                             "::1",
                             "::7f00:1",
                             "::ffff:127.0.0.1",
                             "::ffff:192.168.1.1",
                             "64:ff9b::7f00:1",
                             "64:ff9b:1::808:808",
                             "2002:7f00:1::1",
                             "fc00::1",
                             "fdff::1",
                             "fe80::1",
                             "fec0::1",
                             "ff02::1"})
        EXPECT_TRUE(isPrivateAddress(bytesOf(text))) << text;
    for (const std::size_t count : {0U, 3U, 5U, 15U, 17U})
        EXPECT_TRUE(isPrivateAddress(Bytes(count, 8))) << count << " bytes are no address";
}

TEST(NetworkPolicy, ServersLeadNobodyIntoPrivateNetworks)
{
    const struct {
        const char* name;
        Networks networks;
        std::vector<std::pair<const char*, bool>> named, redirected; ///< in this order, and whether it is allowed
    } cases[] = {
        {"public pages", Networks::named, {{"8.8.8.8", true}}, {{"1.1.1.1", true}, {"10.0.0.1", false}}},
        {"a camera",
         Networks::named,
         {{"192.168.1.7", true}},
         {{"192.168.1.7", true}, {"192.168.1.8", false}, {"127.0.0.1", false}, {"8.8.8.8", true}}},
        {"a name with two addresses",
         Networks::named,
         {{"::1", true}, {"127.0.0.1", true}},
         {{"127.0.0.1", true}, {"::1", true}, {"127.0.0.2", false}}},
        {"named by a server, so not the caller's",
         Networks::named,
         {},
         {{"10.0.0.1", false}, {"10.0.0.1", false}, {"8.8.8.8", true}}},
        {"strangers", Networks::publicOnly, {{"8.8.8.8", true}, {"127.0.0.1", false}}, {{"127.0.0.1", false}}},
        {"everything", Networks::all, {{"127.0.0.1", true}}, {{"10.0.0.1", true}}},
    };
    for (const auto& c : cases) {
        NetworkPolicy policy(c.networks);
        for (const auto& [text, isAllowed] : c.named)
            EXPECT_EQ(policy.allows(bytesOf(text), false), isAllowed) << c.name << ' ' << text;
        for (const auto& [text, isAllowed] : c.redirected)
            EXPECT_EQ(policy.allows(bytesOf(text), true), isAllowed) << c.name << ' ' << text;
    }
}

} // namespace
} // namespace zel
