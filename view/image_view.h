#pragma once
#include <zel/core/image.h>
#include <zel/platform/services/services.h>

#include <QColor>
#include <QWidget>

namespace zel {

/// Shows a platform image in its middle, scaled down in proportion where it is larger than the view, never up; a point
/// is one of Qt's device-independent pixels, and the picture is sharp on scaled displays. Large pictures are decoded at
/// the size shown, in the background, and only while something of the view can be seen. Views are made, destroyed and
/// laid out on the main thread; what is said to be for any thread may race with all but the destructor.
class ZEL_API NSImageView : public QWidget {
    Q_OBJECT
public:
    explicit NSImageView(QWidget* parent = nullptr);
    ~NSImageView() override;
    Ref<NSImage> image() const;                    ///< what is shown, or null; any thread
    void setShownImage(const Ref<NSImage>& image); ///< at once, null clears; any thread
    void setImage(const Ref<ZelImage>& image);     ///< on the main thread; null leaves what is shown; any thread
    void set(const std::string& name); ///< a named image, on the main thread; cleared when unknown; any thread

    QSize sizeHint() const override; ///< the image's own size

protected:
    /// Corners and border, in points, as `paintEvent` draws them; the border lies inside the view, over the image.
    void setLayer(double cornerRadius, double borderWidth, const QColor& borderColor);
    void paintEvent(QPaintEvent* event) override;
    /// While painting: false for those who want it complete, such as QWidget::grab.
    bool isForScreen() const;

private:
    friend class ZelImageView;
    struct State;
    Ref<State> state_;
};

/// The library's view: corners, border, placeholder, loading in the background, a cache shared by all views.
class ZEL_API ZelImageView : public NSImageView {
    Q_OBJECT
    Q_PROPERTY(double radius READ radius WRITE setRadius)
    Q_PROPERTY(double border READ border WRITE setBorder)
    Q_PROPERTY(QColor borderColor READ borderColor WRITE setBorderColor)
public:
    /// Shown at once; null: the `placeHolder` of all views, and without one the view keeps what it shows.
    struct Placeholder {
        Ref<ZelImage> placeholder = {};
    };
    struct HttpPath {
        std::optional<std::string> httpPath = {};
        Ref<ZelImage> placeholder = {};
    };

    explicit ZelImageView(QWidget* parent = nullptr);

    // Appearance is for the main thread. `setup` hands the three properties to the layer: when the view is made (this
    // class's own), before each drawing and when one of them changes. `update` does so and has all of the view drawn.
    virtual void setup();
    virtual void update();
    virtual double radius() const; ///< of the corners, in points; 6 at first
    virtual void setRadius(double points);
    virtual double border() const; ///< its width in points; 0 at first
    virtual void setBorder(double points);
    virtual QColor borderColor() const; ///< grey, fully transparent at first
    virtual void setBorderColor(const QColor& color);
    virtual Ref<ZelResourceDownloader> imageDownloader() const; ///< one of its own at first; any thread
    virtual void setImageDownloader(const Ref<ZelResourceDownloader>& downloader);

    using NSImageView::setImage;
    using QWidget::update;
    void setPlaceholder(const Ref<ZelImage>& placeholder); ///< any thread

    /// Shows the placeholder, then the image at the address: at once where the cache holds the address's path, else the
    /// view is cleared (on this thread) and the image loaded in the background. What cannot be loaded leaves the view
    /// as it is then, and is tried again by the next call. Of several addresses given, the last one counts; a view that
    /// is gone shows nothing, what it loaded is in the cache. Any thread.
    void setImage(const std::optional<URL>& address, Placeholder placeholder);
    /// The same for a text: "http:", "https:" or "file:" and what follows, or the absolute path of a file. Anything
    /// else shows the placeholder alone.
    void setImage(HttpPath address);

    /// By the path of the address alone, without host and query. Any thread.
    static ZelCache& imageCache();
    static Ref<ZelImage> placeHolder(); ///< null at first; any thread
    static void setPlaceHolder(const Ref<ZelImage>& image);

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    void load(const URL& address);
    struct State;
    Ref<State> state_;
};

} // namespace zel
