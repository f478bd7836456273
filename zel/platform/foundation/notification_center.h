#pragma once
#include <zel/export.h>

#include <any>
#include <functional>
#include <map>
#include <optional>
#include <string>

namespace zel {

/// Messages within the process, told apart by their names.
namespace NotificationCenter {

struct Notification {
    std::string name;
    std::any object = {}; ///< who sends it; may be nobody
    std::optional<std::map<std::string, std::any>> userInfo = {};
};

/// Calls the observers of the name, in the order in which they were added, on this thread, before it returns; not those
/// that are added meanwhile. What an observer throws ends the post and comes out here.
ZEL_API void post(const Notification& notification);
/// For the life of the process. An empty block is not added. May be called from any thread, from observers too.
ZEL_API void addObserver(const std::string& name, std::function<void(const Notification&)> block);

} // namespace NotificationCenter
} // namespace zel
