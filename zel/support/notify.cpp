#include <zel/support/notify.h>

namespace zel::ZelNotify {
namespace {

constexpr const char* imageKey = "ZelImage";

Ref<ZelImage> imageOf(const NotificationCenter::Notification& notification)
{
    if (!notification.userInfo)
        return nullptr;
    const auto entry = notification.userInfo->find(imageKey);
    if (entry == notification.userInfo->end())
        return nullptr;
    const auto* image = std::any_cast<Ref<ZelImage>>(&entry->second);
    return image != nullptr ? *image : nullptr;
}

} // namespace

void notify(Notify what)
{
    NotificationCenter::Notification notification{.name = std::move(what.keyword), .object = std::move(what.sender)};
    notification.userInfo.emplace().emplace(imageKey, std::move(what.image));
    NotificationCenter::post(notification);
}

void observeImage(ObserveImage what)
{
    if (!what.callback)
        return;
    NotificationCenter::addObserver(
        what.keyword, [callback = std::move(what.callback)](const NotificationCenter::Notification& notification) {
            callback(imageOf(notification));
        });
}

} // namespace zel::ZelNotify
