#include <zel/platform/services/file_icons.h>

#include <zel/platform/foundation/notes.h>

#include <mutex>

namespace zel::FileIcons {
namespace {

struct Standing {
    std::mutex mutex;
    Provider provider;
};

Standing& standing()
{
    static Standing& instance = *new Standing;
    return instance;
}

} // namespace

void setProvider(Provider provider)
{
    const std::scoped_lock lock(standing().mutex);
    standing().provider.swap(provider);
}

Ref<NSImage> icon(const URL& file, CGSize size)
{
    Provider provider;
    {
        const std::scoped_lock lock(standing().mutex);
        provider = standing().provider;
    }
    if (!provider)
        return fail(ZelFailureCode::missingPart, "icon", "no part of this program knows the desktop's icons");
    if (auto found = provider(file, size))
        return found;
    return fail(ZelFailureCode::notFound, "icon", "the desktop has no icon for it", file.absoluteString());
}

} // namespace zel::FileIcons
