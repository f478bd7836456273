#include <zel/platform/foundation/notification_center.h>

#include <memory>
#include <mutex>
#include <vector>

namespace zel::NotificationCenter {
namespace {

using Block = std::function<void(const Notification&)>;
using Blocks = std::vector<std::shared_ptr<const Block>>;

struct Observers {
    std::mutex mutex;
    std::map<std::string, Blocks, std::less<>> ofName;
};

// Never destroyed: threads may still post while the process ends.
Observers& observers()
{
    static Observers& all = *new Observers;
    return all;
}

Blocks observersOf(const std::string& name)
{
    Observers& all = observers();
    const std::scoped_lock lock(all.mutex);
    const auto found = all.ofName.find(name);
    return found == all.ofName.end() ? Blocks() : found->second;
}

} // namespace

void post(const Notification& notification)
{
    // Called without the lock: observers may post and add observers themselves.
    for (const auto& block : observersOf(notification.name))
        (*block)(notification);
}

void addObserver(const std::string& name, Block block)
{
    if (!block)
        return;
    Observers& all = observers();
    const std::scoped_lock lock(all.mutex);
    all.ofName[name].push_back(std::make_shared<const Block>(std::move(block)));
}

} // namespace zel::NotificationCenter
