#pragma once
#include <zel/zel.h>

#include <QObject>

#include <map>

/// How large a layer is, in widths of its composition. The library knows it of pictures; a shape is as wide and high as
/// its scale says, words are as large as their font, then scaled.
zel::CGSize sizeOf(const zel::ZelComposer::Layer& layer, const zel::ZelComposer& composer);

/// The layer in a composition of that many pixels across, at its own size in pixels; null where it is too small or too
/// large to be seen, or its picture cannot be had. Decodes and resamples: not for the main thread where the layer is a
/// picture. Any thread.
zel::Ref<zel::ZelImage> drawLayer(const zel::ZelComposer::Layer& layer, const zel::ZelComposer& composer,
                                  const zel::ZelShareApp& store, double pixelsAcross);

/// The layers of the composition shown as pictures of the size at which they are shown, each made once.
class LayerPictures : public QObject {
    Q_OBJECT
public:
    explicit LayerPictures(zel::Ref<zel::ZelShareApp> store, QObject* parent = nullptr);

    void setPixelsAcross(double pixels) { pixelsAcross_ = pixels; }
    /// Null, or the picture at another size, while the right one is made in the background; `ready` follows.
    zel::Ref<zel::ZelImage> picture(const zel::ZelComposer::Layer& layer, const zel::ZelComposer& composer);
    /// Forgets those of all other compositions, and of layers that are gone.
    void keepOnly(const zel::ZelComposer& composer);
    bool isWaiting() const { return inBackground_ > 0; }

signals:
    void ready();

private:
    struct Entry {
        zel::ZelComposer::Layer layer; ///< what it was made from, its place and opacity left out
        double ratio = 0;              ///< of the composition
        double pixelsAcross = 0;
        zel::Ref<zel::ZelImage> picture;
        bool operator==(const Entry& other) const; ///< made from the same
    };
    void makeInBackground(const Entry& wanted, const zel::ZelComposer& composer);

    const zel::Ref<zel::ZelShareApp> store_;
    double pixelsAcross_ = 1000;
    std::map<std::string, Entry> entries_;
    int inBackground_ = 0;
};
