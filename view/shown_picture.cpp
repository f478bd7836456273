#include <view/shown_picture.h>
#include <view/pixels.h>

#include <zel/platform/foundation/failure.h>
#include <zel/platform/foundation/threads.h>
#include <zel/platform/images/encoded_image.h>

#include <atomic>
#include <chrono>
#include <list>
#include <vector>

namespace zel {
namespace {

using Clock = std::chrono::steady_clock;

/// What is resampled while painting: a few milliseconds at most, decoding included.
constexpr double mostWhilePainting = 512.0 * 512.0;
/// After that long a frame makes no more pictures. A picture may begin just before: it and the painting still fit into
/// the sixteen milliseconds that a frame has.
constexpr std::chrono::milliseconds mostInFrame{4};

std::atomic<std::size_t> count = 0;

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

QImage made(const NSImage& image, QSize size)
{
    ++count;
    return scaledPixels(image.cgImage(), size);
}

} // namespace

struct ShownPicture::All {
    static constexpr std::size_t mostAtOnce = 2; ///< each uses all cores where it can
    static constexpr qsizetype mostBytes = qsizetype{64} << 20;
    std::vector<std::weak_ptr<ShownPicture>> waiting;
    std::list<UnderWay> underWay;
    std::vector<ShownPicture*> holders; ///< those with pixels, the one that got them last at the end
    Clock::duration inFrame{};          ///< spent on pictures since the main loop had its turn

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
    all().underWay.clear();
    all().waiting.clear();
    all().inFrame = {};
}

std::size_t ShownPicture::madeSoFar()
{
    return count;
}

ShownPicture::~ShownPicture()
{
    clear();
}

void ShownPicture::leave()
{
    view_ = nullptr;
    for (UnderWay& work : all().underWay)
        if (work.picture.lock().get() == this)
            work.stop.request_stop();
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

QImage ShownPicture::pixels(const Ref<NSImage>& image, QSize size, When when)
{
    if (made_.image == image && made_.size == size)
        return made_.pixels;
    if (when == When::now) {
        keep({image, size, made(*image, size)});
        tellIfLost(made_);
        return made_.pixels;
    }
    if (all().inFrame < mostInFrame && isQuick(*image, size)) {
        makeWhilePainting(image, size);
        return made_.pixels;
    }
    wanted_ = {image, size, {}};
    if (!isWaiting_) {
        isWaiting_ = true;
        all().waiting.push_back(weak_from_this());
        stopUnseen();
        makeNext();
    }
    return made_.image == image ? made_.pixels : QImage();
}

void ShownPicture::makeWhilePainting(const Ref<NSImage>& image, QSize size)
{
    if (all().inFrame == Clock::duration{})
        XMain::execute([] { all().inFrame = {}; }); // once everything is painted
    const Clock::time_point start = Clock::now();
    keep({image, size, made(*image, size)});
    all().inFrame += std::max(Clock::now() - start, Clock::duration{1});
    tellIfLost(made_);
}

void ShownPicture::makeNext()
{
    All& shared = all();
    while (shared.underWay.size() < All::mostAtOnce && !shared.waiting.empty()) {
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

void ShownPicture::stopUnseen()
{
    for (UnderWay& work : all().underWay)
        if (const auto picture = work.picture.lock(); !picture || !picture->isSeen())
            work.stop.request_stop();
}

void ShownPicture::makeInBackground()
{
    const auto work = all().underWay.insert(all().underWay.end(), {weak_from_this(), std::stop_source()});
    Queue::execute({.fast = true}, [picture = weak_from_this(), wanted = wanted_, stop = work->stop]() mutable {
        const ZelProgress stoppable({}, stop.get_token());
        if (!stop.stop_requested())
            wanted.pixels = made(*wanted.image, wanted.size);
        XMain::execute([picture, arrived = std::move(wanted), stop] {
            // By what stops it: a list that was cleared in the meantime does not have it any more.
            std::erase_if(all().underWay, [&](const UnderWay& one) { return one.stop == stop; });
            if (const auto shown = picture.lock())
                shown->arrive(arrived, arrived.pixels.isNull() && stop.stop_requested());
            makeNext();
        });
    });
}

void ShownPicture::arrive(Made made, bool isStopped)
{
    isWaiting_ = false;
    if (!isStopped) {
        keep(std::move(made));
        tellIfLost(made_);
    }
    if (view_ != nullptr)
        view_->update(); // one that was stopped and is seen again asks once more
}

void ShownPicture::tellIfLost(const Made& made)
{
    if (lost_ && isLost(*made.image)) // what was read of it is no picture, or half of one
        XMain::execute([picture = weak_from_this(), image = made.image] {
            if (const auto shown = picture.lock(); shown && shown->view_ != nullptr)
                shown->lost_(image);
        });
}

} // namespace zel
