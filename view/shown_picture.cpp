#include <view/shown_picture.h>
#include <view/pixels.h>

#include <zel/platform/foundation/threads.h>

#include <vector>

namespace zel {
namespace {

/// What is resampled while painting: a few milliseconds at most, decoding included.
constexpr double mostWhilePainting = 512.0 * 512.0;

double area(CGSize size)
{
    return size.width * size.height;
}

bool isQuick(const NSImage& image, QSize size)
{
    // The area in points goes first: a drawing of many points would have to be drawn to be asked for its pixels.
    const CGFloat scale = Screens::displayScale();
    if (area({static_cast<CGFloat>(size.width()), static_cast<CGFloat>(size.height())}) > mostWhilePainting ||
        area(image.size()) * scale * scale > mostWhilePainting)
        return false;
    const Ref<const CGImage> pixels = image.cgImage();
    return !pixels ||
           area({static_cast<CGFloat>(pixels->width()), static_cast<CGFloat>(pixels->height())}) <= mostWhilePainting;
}

} // namespace

struct ShownPicture::All {
    static constexpr int mostAtOnce = 2; ///< each uses all cores where it can
    static constexpr qsizetype mostBytes = qsizetype{64} << 20;
    std::vector<std::weak_ptr<ShownPicture>> waiting;
    int running = 0;
    std::vector<ShownPicture*> holders; ///< those with pixels, the one that got them last at the end

    /// Takes pixels from views that cannot be seen, but for the last one, until the bytes are within their bound.
    void trim()
    {
        qsizetype bytes = 0;
        for (const ShownPicture* holder : holders)
            bytes += holder->made_.pixels.sizeInBytes();
        for (std::size_t place = 0; bytes > mostBytes && place + 1 < holders.size();) {
            if (ShownPicture& holder = *holders[place]; holder.isSeen()) {
                ++place;
            } else {
                bytes -= holder.made_.pixels.sizeInBytes();
                holder.clear();
            }
        }
    }
};

ShownPicture::All& ShownPicture::all()
{
    static All& instance = *new All;
    return instance;
}

void ShownPicture::begin()
{
    all().running = 0;
    all().waiting.clear();
}

ShownPicture::~ShownPicture()
{
    clear();
}

void ShownPicture::clear()
{
    made_ = {};
    std::erase(all().holders, this);
}

bool ShownPicture::isSeen() const
{
    return view_ != nullptr && !view_->visibleRegion().isEmpty();
}

void ShownPicture::keep(Made made)
{
    clear();
    made_ = std::move(made);
    all().holders.push_back(this);
    all().trim();
}

QImage ShownPicture::pixels(const Ref<NSImage>& image, QSize size)
{
    if (made_.image == image && made_.size == size)
        return made_.pixels;
    // A view that is not on screen is painted for somebody who wants it complete, such as QWidget::grab.
    if (view_ == nullptr || !view_->isVisible() || isQuick(*image, size)) {
        keep({image, size, scaledPixels(image->cgImage(), size)});
        return made_.pixels;
    }
    wanted_ = {image, size, {}};
    if (!isWaiting_) {
        isWaiting_ = true;
        all().waiting.push_back(weak_from_this());
        makeNext();
    }
    return made_.image == image ? made_.pixels : QImage();
}

void ShownPicture::makeNext()
{
    All& shared = all();
    while (shared.running < All::mostAtOnce && !shared.waiting.empty()) {
        const std::shared_ptr<ShownPicture> next = shared.waiting.back().lock();
        shared.waiting.pop_back();
        if (!next)
            continue;
        // Once it is seen again it is painted, and asks again.
        if (next->isSeen())
            next->makeInBackground();
        else
            next->isWaiting_ = false;
    }
}

void ShownPicture::makeInBackground()
{
    ++all().running;
    Queue::execute({.fast = true}, [picture = weak_from_this(), wanted = wanted_]() mutable {
        wanted.pixels = scaledPixels(wanted.image->cgImage(), wanted.size);
        XMain::execute([picture, made = std::move(wanted)] {
            --all().running;
            if (const auto shown = picture.lock()) {
                shown->isWaiting_ = false;
                shown->keep(made);
                if (shown->view_ != nullptr)
                    shown->view_->update();
            }
            makeNext();
        });
    });
}

} // namespace zel
