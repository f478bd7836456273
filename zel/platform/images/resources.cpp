#include <zel/platform/codecs/codec.h>
#include <zel/platform/foundation/guards.h>
#include <zel/platform/foundation/notes.h>
#include <zel/platform/foundation/url.h>
#include <zel/platform/images/ns_image.h>

#include <fmt/format.h>

#include <map>
#include <mutex>

namespace zel {
namespace {

struct Store {
    std::mutex mutex;
    std::vector<std::string> folders;
    std::map<std::string, Data, std::less<>> byName;
    Resources::Provider provider;
};

Store& store()
{
    static Store& all = *new Store; // never released: images may be asked for while the process ends
    return all;
}

/// The file names to try in a folder: the name as it is, then with each extension that a codec names, then with those
/// of documents.
std::vector<std::string> candidates(std::string_view name)
{
    std::vector<std::string> names{std::string(name)};
    for (const Codec& codec : codecs())
        for (std::string_view rest = codec.extensions; !rest.empty();) {
            const std::size_t end = std::min(rest.find(' '), rest.size());
            names.push_back(fmt::format("{}.{}", name, rest.substr(0, end)));
            rest.remove_prefix(std::min(end + 1, rest.size()));
        }
    for (const std::string_view extension : {"pdf", "svg"})
        names.push_back(fmt::format("{}.{}", name, extension));
    return names;
}

} // namespace

void Resources::addFolder(const std::string& folder)
{
    const std::scoped_lock lock(store().mutex);
    store().folders.push_back(folder);
}

void Resources::add(const std::string& name, Data encoded)
{
    const std::scoped_lock lock(store().mutex);
    store().byName.insert_or_assign(name, std::move(encoded));
}

void Resources::setProvider(Provider provider)
{
    const std::scoped_lock lock(store().mutex);
    store().provider.swap(provider);
}

Ref<NSImage> NSImage::named(std::string_view name)
{
    std::vector<std::string> folders;
    std::optional<Data> bytes;
    Resources::Provider provider;
    {
        const std::scoped_lock lock(store().mutex);
        folders = store().folders;
        provider = store().provider;
        if (const auto found = store().byName.find(name); found != store().byName.end())
            bytes = found->second;
    }
    if (bytes)
        return make(*bytes);
    if (isSafeComponent(name))
        for (const std::string& folder : folders)
            for (const std::string& candidate : candidates(name)) {
                const auto path = joinPath(folder, candidate);
                std::error_code ignored;
                if (path && std::filesystem::is_regular_file(*path, ignored))
                    return make(URL::file(*path));
            }
    if (provider && !name.empty())
        for (const std::string& candidate : candidates(name))
            if (const auto found = provider(candidate))
                return make(*found);
    return fail(ZelFailureCode::notFound, "named image", fmt::format("no resource is called \"{}\"", name));
}

} // namespace zel
