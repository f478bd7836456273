#pragma once
#include <zel/platform/images/ns_image.h>

#include <QImage>
#include <QWidget>

#include <functional>
#include <stop_token>

// The pixels that views paint. Small pictures are made while painting, as many as a frame has time for. The others are
// made in the background, a few at a time, those asked for last first; what cannot be seen any more when its turn comes
// is left out, or stopped where it is under way. Views that cannot be seen lose their pixels where all together hold
// too many.
namespace zel {

/// The pixels of one view; for the main thread.
class ShownPicture : public std::enable_shared_from_this<ShownPicture> {
public:
    /// Told, later, of an image that cannot be decoded any more because its file was changed or removed.
    using Lost = std::function<void(const Ref<NSImage>& image)>;
    ShownPicture(QWidget* view, Lost lost) : view_(view), lost_(std::move(lost)) {}
    ~ShownPicture();
    ShownPicture(const ShownPicture&) = delete;
    ShownPicture& operator=(const ShownPicture&) = delete;
    /// An application begins: what the one before it left undone counts no more.
    static void begin();
    /// The view ends: nothing touches it from here on.
    void leave();

    enum class When {
        now,  ///< whoever asks waits for them
        soon, ///< where that takes long: what there is of it, at another size or null; the view is then painted again
    };
    /// The image at that many pixels.
    QImage pixels(const Ref<NSImage>& image, QSize size, When when);

    /// Lets go of the pixels.
    void clear();

    /// Pictures made so far, for measurements. Any thread.
    ZEL_API static std::size_t madeSoFar();

private:
    struct Made {
        Ref<NSImage> image;
        QSize size;
        QImage pixels; ///< null where it cannot be decoded
    };
    /// What is left of work in the background: where it goes, and how it is stopped.
    struct UnderWay {
        std::weak_ptr<ShownPicture> picture;
        std::stop_source stop;
    };
    void makeWhilePainting(const Ref<NSImage>& image, QSize size);
    void makeInBackground();
    void arrive(Made made, bool isStopped);
    void keep(Made made);
    void tellIfLost(const Made& made);
    [[nodiscard]] bool isSeen() const;
    static void makeNext();
    static void stopUnseen();
    struct All;
    static All& all();

    QWidget* view_;
    Lost lost_;
    Made made_, wanted_;
    bool isWaiting_ = false;
};

} // namespace zel
