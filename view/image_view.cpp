#include <view/image_view.h>
#include <view/desktop.h>
#include <view/shown_picture.h>

#include <zel/platform/foundation/threads.h>
#include <zel/platform/services/image_loads.h>

#include <QBackingStore>
#include <QPainter>
#include <QPainterPath>
#include <QStyle>
#include <QStyleOption>
#include <QThread>

#include <algorithm>
#include <cmath>
#include <mutex>

// What is shown and which address counts stand in states of their own, so that tasks can outlive the view: they hold
// the states weakly or shared, and only the main thread follows their pointers to the widget.
namespace zel {

struct NSImageView::State {
    std::mutex mutex; ///< guards `image`; all else is for the main thread
    Ref<NSImage> image;
    NSImageView* view = nullptr; ///< null once the view is gone
    std::shared_ptr<ShownPicture> picture;
    ShownPicture::Lost lost; ///< what the class does about an image that can no longer be decoded
    double cornerRadius = 0, borderWidth = 0;
    QColor borderColor;

    Ref<NSImage> shown()
    {
        const std::scoped_lock lock(mutex);
        return image;
    }
    void put(Ref<NSImage> next)
    {
        const std::scoped_lock lock(mutex);
        image.swap(next);
    }
    /// On the main thread.
    void redraw() const
    {
        if (view != nullptr) {
            view->updateGeometry();
            static_cast<QWidget*>(view)->update();
        }
    }
};

namespace {

/// Where an image of that many points stands in the view: in the middle, on whole device pixels.
QRectF placeOf(CGSize points, const QRectF& bounds, double scale)
{
    const double fit = std::min({1.0, bounds.width() / points.width, bounds.height() / points.height});
    const auto pixels = [&](double length) { return std::max(1.0, std::round(length * fit * scale)) / scale; };
    const auto start = [&](double room, double length) { return std::floor((room - length) / 2 * scale) / scale; };
    const double width = pixels(points.width), height = pixels(points.height);
    return {start(bounds.width(), width), start(bounds.height(), height), width, height};
}

QPainterPath rounded(const QRectF& rectangle, double radius)
{
    QPainterPath path;
    path.addRoundedRect(rectangle, radius, radius);
    return path;
}

void drawPicture(QPainter& painter, const QImage& picture, const QRectF& place, const QPainterPath& corners)
{
    if (corners.isEmpty())
        return painter.drawImage(place, picture);
    QTransform onPlace;
    onPlace.translate(place.x(), place.y());
    onPlace.scale(place.width() / picture.width(), place.height() / picture.height());
    QBrush brush(picture);
    brush.setTransform(onPlace);
    QPainterPath outline;
    outline.addRect(place);
    painter.fillPath(outline.intersected(corners), brush);
}

struct SharedPlaceHolder {
    std::mutex mutex;
    Ref<ZelImage> image;
};

SharedPlaceHolder& sharedPlaceHolder()
{
    static SharedPlaceHolder& instance = *new SharedPlaceHolder;
    return instance;
}

} // namespace

NSImageView::NSImageView(QWidget* parent) : QWidget(parent), state_(std::make_shared<State>())
{
    Desktop::join();
    state_->view = this;
    state_->picture = std::make_shared<ShownPicture>(this, [state = state_.get()](const Ref<NSImage>& image) {
        if (state->lost)
            state->lost(image);
    });
}

NSImageView::~NSImageView()
{
    state_->view = nullptr;
    state_->picture->leave();
}

Ref<NSImage> NSImageView::image() const
{
    return state_->shown();
}

void NSImageView::setShownImage(const Ref<NSImage>& image)
{
    state_->put(image);
    if (QThread::currentThread() == thread())
        return state_->redraw();
    XMain::execute([weak = std::weak_ptr(state_)] {
        if (const auto state = weak.lock())
            state->redraw();
    });
}

void NSImageView::setImage(const Ref<ZelImage>& image)
{
    if (!image)
        return;
    XMain::execute([weak = std::weak_ptr(state_), shown = image->image] {
        if (const auto state = weak.lock()) {
            state->put(shown);
            state->redraw();
        }
    });
}

void NSImageView::set(const std::string& name)
{
    XMain::execute([weak = std::weak_ptr(state_), shown = NSImage::named(name)] {
        if (const auto state = weak.lock()) {
            state->put(shown);
            state->redraw();
        }
    });
}

QSize NSImageView::sizeHint() const
{
    const Ref<NSImage> shown = image();
    if (!shown)
        return QWidget::sizeHint();
    const auto side = [](CGFloat points) {
        return points > 0 ? static_cast<int>(std::ceil(std::min<CGFloat>(points, QWIDGETSIZE_MAX))) : 0;
    };
    return {side(shown->width()), side(shown->height())};
}

void NSImageView::setLayer(double cornerRadius, double borderWidth, const QColor& borderColor)
{
    State& now = *state_;
    if (now.cornerRadius == cornerRadius && now.borderWidth == borderWidth && now.borderColor == borderColor)
        return;
    now.cornerRadius = cornerRadius;
    now.borderWidth = borderWidth;
    now.borderColor = borderColor;
    QWidget::update();
}

bool NSImageView::isForScreen() const
{
    QPoint offset;
    const QPaintDevice* target = redirected(&offset);
    QBackingStore* screen = backingStore();
    return isVisible() && (target == nullptr || screen == nullptr || target == screen->paintDevice());
}

void NSImageView::paintEvent(QPaintEvent*)
{
    const QRectF bounds = rect();
    const double half = std::min(bounds.width(), bounds.height()) / 2;
    const auto within = [half](double length) { return length > 0 ? std::min(length, half) : 0.0; };
    const double radius = within(state_->cornerRadius), border = within(state_->borderWidth);
    QPainter painter(this);
    QStyleOption option; // the background of a style sheet
    option.initFrom(this);
    style()->drawPrimitive(QStyle::PE_Widget, &option, &painter, this);
    painter.setRenderHints(QPainter::Antialiasing | QPainter::SmoothPixmapTransform);

    const Ref<NSImage> shown = image();
    if (shown && shown->width() > 0 && shown->height() > 0) {
        const double scale = devicePixelRatioF();
        const QRectF place = placeOf(shown->size(), bounds, scale);
        // Whoever grabs a view wants it complete.
        const auto when = isForScreen() ? ShownPicture::When::soon : ShownPicture::When::now;
        const QImage picture = state_->picture->pixels(shown, (place.size() * scale).toSize(), when);
        if (!picture.isNull())
            drawPicture(painter, picture, place, radius > 0 ? rounded(bounds, radius) : QPainterPath());
    } else {
        state_->picture->clear();
    }
    if (border > 0 && state_->borderColor.alpha() > 0) {
        QPainterPath ring = rounded(bounds, radius);
        ring.addPath(rounded(bounds.adjusted(border, border, -border, -border), std::max(0.0, radius - border)));
        painter.fillPath(ring, state_->borderColor);
    }
}

struct ZelImageView::State {
    double radius = 6, border = 0;
    QColor borderColor = QColor::fromRgbF(0.5F, 0.5F, 0.5F, 0.0F);
    std::mutex mutex; ///< guards what follows
    Ref<ZelResourceDownloader> downloader = std::make_shared<ZelResourceDownloader>();
    URL latest;             ///< the address that counts
    Ref<ImageLoad> loading; ///< the load begun last

    URL address()
    {
        const std::scoped_lock lock(mutex);
        return latest;
    }
    void hurry()
    {
        const std::scoped_lock lock(mutex);
        if (loading)
            loading->hurry();
    }
    bool counts(const URL& address)
    {
        const std::scoped_lock lock(mutex);
        return latest == address;
    }
};

ZelImageView::ZelImageView(QWidget* parent) : NSImageView(parent), state_(std::make_shared<State>())
{
    ZelImageView::setup();
    NSImageView::state_->lost = [this](const Ref<NSImage>& lost) {
        // The file is another one by now: what it holds is loaded anew.
        const URL latest = state_->address();
        if (image() == lost && !latest.isEmpty())
            load(latest);
    };
}

void ZelImageView::setup()
{
    setLayer(state_->radius, state_->border, state_->borderColor);
}

void ZelImageView::update()
{
    setup();
    QWidget::update();
}

void ZelImageView::paintEvent(QPaintEvent* event)
{
    setup();
    if (isForScreen())
        state_->hurry();
    NSImageView::paintEvent(event);
}

double ZelImageView::radius() const
{
    return state_->radius;
}

void ZelImageView::setRadius(double points)
{
    if (std::exchange(state_->radius, points) != points)
        setup();
}

double ZelImageView::border() const
{
    return state_->border;
}

void ZelImageView::setBorder(double points)
{
    if (std::exchange(state_->border, points) != points)
        setup();
}

QColor ZelImageView::borderColor() const
{
    return state_->borderColor;
}

void ZelImageView::setBorderColor(const QColor& color)
{
    if (std::exchange(state_->borderColor, color) != color)
        setup();
}

Ref<ZelResourceDownloader> ZelImageView::imageDownloader() const
{
    const std::scoped_lock lock(state_->mutex);
    return state_->downloader;
}

void ZelImageView::setImageDownloader(const Ref<ZelResourceDownloader>& downloader)
{
    const std::scoped_lock lock(state_->mutex);
    state_->downloader = downloader;
}

void ZelImageView::setPlaceholder(const Ref<ZelImage>& placeholder)
{
    setImage(placeholder ? placeholder : placeHolder());
}

void ZelImageView::setImage(const std::optional<URL>& address, Placeholder placeholder)
{
    setPlaceholder(placeholder.placeholder);
    if (!address)
        return;
    {
        const std::scoped_lock lock(state_->mutex);
        state_->latest = *address;
    }
    const std::any cached = imageCache().getCached(address->path());
    if (const auto* image = std::any_cast<Ref<ZelImage>>(&cached); image != nullptr && *image)
        return setImage(*image);
    setShownImage(nullptr);
    load(*address);
}

void ZelImageView::load(const URL& address)
{
    if (!imageDownloader())
        return;
    const auto arrived = [own = std::weak_ptr(state_), view = std::weak_ptr(NSImageView::state_),
                          address](const ImageLoad::Loaded& loaded) {
        const Ref<ZelImage> image =
            loaded.image ? makeZelImage(loaded.image, {.dontCreateAuxiliaryVars = false}) : nullptr;
        if (!image)
            return;
        XMain::execute([own, view, address, shown = image->image] {
            const auto addresses = own.lock();
            const auto state = view.lock();
            if (!addresses || !state || !addresses->counts(address))
                return;
            state->put(shown);
            state->redraw();
        });
        // Its pixels are made anew for each size.
        imageCache().setCached(address.path(), {image, loaded.bytes});
    };
    const Ref<ImageLoad> load = ImageLoad::begin(address, arrived);
    const std::scoped_lock lock(state_->mutex);
    state_->loading = load;
}

void ZelImageView::setImage(HttpPath address)
{
    const auto parsed = address.httpPath ? URL::parse(*address.httpPath) : std::nullopt;
    // A relative address has nothing here that it could be relative to.
    const auto isWhole = [](const URL& url) {
        return url.isFile() || url.resolved(*URL::parse("http://host/")) == url;
    };
    if (parsed && isWhole(*parsed))
        setImage(parsed, {.placeholder = address.placeholder});
    else
        setPlaceholder(address.placeholder);
}

ZelCache& ZelImageView::imageCache()
{
    static ZelCache& cache = *new ZelCache;
    return cache;
}

Ref<ZelImage> ZelImageView::placeHolder()
{
    const std::scoped_lock lock(sharedPlaceHolder().mutex);
    return sharedPlaceHolder().image;
}

void ZelImageView::setPlaceHolder(const Ref<ZelImage>& image)
{
    Ref<ZelImage> next = image;
    const std::scoped_lock lock(sharedPlaceHolder().mutex);
    sharedPlaceHolder().image.swap(next);
}

} // namespace zel
