#include "seeds.h"

#include <string_view>

// Names and addresses as strangers may write them; what their first bytes mean is said by the targets.
namespace zel::seeds {
namespace {

Seed make(const std::string& name, const std::string& bytes)
{
    return {name, Bytes(bytes.begin(), bytes.end()), 0, 0};
}

} // namespace

std::vector<Seed> cacheNameSeeds()
{
    const std::pair<std::string, std::string> names[] = {
        {"thumbs", "a1"},
        {"thumbs", "../../x"},
        {"thumbs", "a/b"},
        {"thumbs", ""},
        {"thumbs", std::string(300, 'x')},
        {"thumbs", std::string("a\0b", 3)},
        {"thumbs", ".."},
        {"..", "sentinel"},
        {"", "sentinel"},
        {".", "sentinel"},
        {"/", "sentinel"},
        {"../caches", "sentinel"},
        {"another cache/", "sentinel"},
        {"another cache/../another cache", "sentinel"},
        {std::string("another cache\0", 14), "sentinel"},
        {"another cache", "sentinel.png"},
        {std::string(251, 'n'), std::string(251, 'i')},
        {std::string(300, 'n'), "i"},
        {"\xC3\xA9\xFF", "%2e%2e%2f\x80"},
        {".zel-1-2.tmp", ".zel-1-2.tmp"},
    };
    std::vector<Seed> seeds;
    for (const auto& [name, id] : names)
        seeds.push_back(make("names-" + std::to_string(seeds.size()),
                             std::string(1, static_cast<char>(seeds.size())) +
                                 static_cast<char>(name.size() > 253 ? 254 : name.size()) + name + id));
    return seeds;
}

std::vector<Seed> addressSeeds()
{
    const char* const texts[] = {
        "http://example.org/a/photo.jpg?size=1#x",
        "HTTPS://user:word@[::1]:8080/%41%2F..%2f",
        "file:///allowed/folder/a.png",
        "file://localhost/allowed/folder/../secret",
        "file://host/x",
        "/allowed/folder/%2e%2e/x",
        "/etc/passwd",
        "//host/x",
        "../up/./down//x",
        "?query",
        "#fragment",
        "a.png",
        "gopher://127.0.0.1/x",
        "javascript:alert(1)",
        "http://127.0.0.1:99999/",
        "http://host\\@other/",
        "http:///x",
        "http://[::ffff:10.0.0.1]/",
        "http://0x7f.1/%00",
        "data:image/png;base64,AAAA",
        "x:",
    };
    std::vector<Seed> seeds;
    for (const char* text : texts)
        seeds.push_back(make("address-" + std::to_string(seeds.size()), std::string(1, '\0') + text));
    // Policy, then machines: kind, bytes.
    const std::string_view machines[] = {
        {"\1\0\1\1\x7f\0\0\1\x82\x0a\0\0\1", 13},
        {"\1\0\0\1\x08\x08\x08\x08\x82\xc0\xa8\1\1", 13},
        {"\1\0\2\1\x7f\0\0\1\x82\x7f\0\0\1", 13},
        {"\1\0\1\0\0\0\0\0\0\0\0\0\0\0\xff\xff\x7f\0\0\1\x82\x7f\0\0\1", 25},
        {"\1\0\1\0\xfe\x80\0\0\0\0\0\0\0\0\0\0\0\0\0\1\x81\xfd\0\0\0\0\0\0\0\0\0\0\0\0\0\0\1", 37},
    };
    for (const std::string_view bytes : machines)
        seeds.push_back(make("machines-" + std::to_string(seeds.size()), std::string(bytes)));
    return seeds;
}

} // namespace zel::seeds
