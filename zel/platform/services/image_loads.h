#pragma once
#include <zel/platform/foundation/url.h>
#include <zel/platform/images/ns_image.h>

#include <functional>

// Loading for those who show many pictures: any number may be asked for at once, a few are under way at a time.
namespace zel {

/// An image at an address, on its way. Any thread.
class ZEL_API ImageLoad {
public:
    struct Loaded {
        Ref<NSImage> image;    ///< null, with the reason noted, where it cannot be had
        std::size_t bytes = 0; ///< what the image holds in memory until its pixels are asked for, or a little more
    };
    /// Calls back once, on the background pool, with the notes and limits of the calling thread. At most eight loads
    /// are under way, two of them with one host or with files; the others wait, the first asked for first.
    static Ref<ImageLoad> begin(const URL& address, std::function<void(Loaded)> completion);
    /// It goes next, where it has not begun.
    void hurry();

    ImageLoad(const ImageLoad&) = delete;
    ImageLoad& operator=(const ImageLoad&) = delete;

private:
    struct State;
    explicit ImageLoad(Ref<State> state) : state_(std::move(state)) {}
    Ref<State> state_;
};

} // namespace zel
