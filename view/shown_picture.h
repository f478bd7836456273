#pragma once
#include <zel/platform/images/ns_image.h>

#include <QImage>
#include <QWidget>

// The pixels that views paint. Small pictures are made while painting. Larger ones are made in the background, a few at
// a time, those asked for last first; what cannot be seen any more when its turn comes is left out. Views that
// cannot be seen lose their pixels where all together hold too many.
namespace zel {

/// The pixels of one view; for the main thread.
class ShownPicture : public std::enable_shared_from_this<ShownPicture> {
public:
    explicit ShownPicture(QWidget* view) : view_(view) {}
    ~ShownPicture();
    ShownPicture(const ShownPicture&) = delete;
    ShownPicture& operator=(const ShownPicture&) = delete;
    /// An application begins: what the one before it left undone counts no more.
    static void begin();
    /// The view ends: nothing touches it from here on.
    void leave() { view_ = nullptr; }

    /// The image at that many pixels. Where that takes long: what there is of it, at another size or null; the view is
    /// then painted again once the pixels are there.
    QImage pixels(const Ref<NSImage>& image, QSize size);

    /// Lets go of the pixels.
    void clear();

private:
    struct Made {
        Ref<NSImage> image;
        QSize size;
        QImage pixels; ///< null where it cannot be decoded
    };
    void makeInBackground();
    void keep(Made made);
    [[nodiscard]] bool isSeen() const;
    static void makeNext();
    struct All;
    static All& all();

    QWidget* view_;
    Made made_, wanted_;
    bool isWaiting_ = false;
};

} // namespace zel
