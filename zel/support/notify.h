#pragma once
#include <zel/core/image.h>
#include <zel/export.h>
#include <zel/platform/foundation/notification_center.h>

namespace zel {

/// Images by notification: the user information has one entry, "ZelImage", a `Ref<ZelImage>`.
namespace ZelNotify {
struct Notify {
    std::string keyword; ///< the notification's name
    std::any sender = {};
    Ref<ZelImage> image;
};
struct ObserveImage {
    std::any sender = {}; ///< without effect
    std::string keyword;
    std::function<void(Ref<ZelImage>)> callback;
};
/// Observers run on this thread, before the return.
ZEL_API void notify(Notify what);
/// For the life of the process. The callback gets null from notifications of that name without an image.
ZEL_API void observeImage(ObserveImage what);
} // namespace ZelNotify

/// An image file resized by a program of its own, so that whatever the file does to a decoder it does there.
struct ZEL_API ZelCLIImageResizer {
    struct To {
        URL to;
        std::int64_t maxSize; ///< of the longer side, in pixels
    };
    /// Waits for the program's end, at most a minute. True when it answered "DONE"; else nothing stands at the
    /// destination. False, noted, where the program is missing.
    static bool resize(const URL& source, To destination);
    /// The program to run, instead of the one in the application's bundle or, where there is none, beside the library's
    /// modules. Empty: those again.
    static void setProgramPath(const std::string& path);
};

} // namespace zel
