#include <zel/core/image.h>

#include <zel/platform/foundation/identifiers.h>
#include <zel/platform/foundation/notes.h>

#include <mutex>

namespace zel {

struct ZelImage::State {
    std::mutex filling;
    Ref<NSBitmapImageRep> bitmapRep;
};

namespace {

CGSize pixelSize(const CGImage& image)
{
    return {static_cast<CGFloat>(image.width()), static_cast<CGFloat>(image.height())};
}

/// What the NSImage yields without a proposed rectangle, else with its own.
Ref<const CGImage> bitmapOf(const NSImage& image)
{
    NotesOnTrial firstAttempt;
    if (Ref<const CGImage> found = image.cgImage()) {
        firstAttempt.keep();
        return found;
    }
    return image.cgImage(CGRect{{0, 0}, image.size()});
}

/// The common end of the constructions: pixels and their size.
bool complete(ZelImage& image)
{
    if (!image.cgImage && image.image)
        image.cgImage = bitmapOf(*image.image);
    if (!image.cgImage)
        return false;
    image.size = pixelSize(*image.cgImage);
    return true;
}

Ref<ZelImage> wrap(const Ref<NSImage>& image)
{
    auto result = std::make_shared<ZelImage>();
    result->image = image;
    return result;
}

Ref<ZelImage> wrapCompleted(const Ref<NSImage>& image)
{
    if (!image)
        return nullptr;
    auto result = wrap(image);
    return complete(*result) ? result : nullptr;
}

} // namespace

ZelImage::ZelImage() : id(ZelId::newId()), image(NSImage::make(CGSize{})), state_(std::make_shared<State>()) {}

Ref<const CIImage> ZelImage::ciImage()
{
    const std::scoped_lock lock(state_->filling);
    if (!ciImage_ && cgImage)
        ciImage_ = CIImage::make(cgImage);
    return ciImage_;
}

Ref<NSBitmapImageRep> ZelImage::bitmapRep()
{
    const std::scoped_lock lock(state_->filling);
    if (!state_->bitmapRep) {
        if (!cgImage)
            return failAbsentInput("bitmapRep");
        state_->bitmapRep = NSBitmapImageRep::make(cgImage);
    }
    return state_->bitmapRep;
}

void ZelImage::setSize()
{
    complete(*this);
}

void ZelImage::getFrame() {}

Ref<ZelImage> makeZelImage(const URL& file, NoTimeOut)
{
    return wrapCompleted(NSImage::make(file));
}

Ref<ZelImage> makeZelImage(FastUrl file)
{
    const std::optional<Data> bytes = Data::read(file.fastUrl);
    if (!bytes)
        return nullptr;
    const SubjectScope subject(file.fastUrl.filePath().string());
    return wrapCompleted(NSImage::make(*bytes));
}

Ref<ZelImage> makeZelImage(const Ref<NSImage>& image, DontCreateAuxiliaryVars options)
{
    if (!image)
        return failAbsentInput("make image");
    auto result = wrap(image);
    if (!options.dontCreateAuxiliaryVars)
        complete(*result);
    return result;
}

Ref<ZelImage> makeZelImage(const Data& encoded, DontCreateAuxiliaryVars options)
{
    const Ref<NSImage> image = NSImage::make(encoded);
    if (!image)
        return nullptr;
    return options.dontCreateAuxiliaryVars ? wrap(image) : wrapCompleted(image);
}

Ref<ZelImage> makeZelImage(const Ref<const CGImage>& image)
{
    if (!image)
        return failAbsentInput("make image");
    auto result = wrap(NSImage::make(image, pixelSize(*image)));
    result->cgImage = image;
    result->size = pixelSize(*image);
    return result;
}

Ref<ZelImage> makeZelImage(const Ref<const CIImage>& image)
{
    const Ref<const CGImage> rendered = getCGImage(image);
    return rendered ? wrapCompleted(NSImage::make(rendered, pixelSize(*rendered))) : nullptr;
}

Ref<ZelImage> makeZelImage(FromCIImage image)
{
    return makeZelImage(image.ciImage);
}
Ref<ZelImage> makeZelImage(NamedImage name)
{
    return wrapCompleted(NSImage::named(name.named));
}

Ref<ZelImage> makeZelImage(BlankSize size)
{
    auto result = wrap(NSImage::make(size.size / Screens::displayScale()));
    result->size = size.size;
    return result;
}

Ref<ZelImage> makeZelImage(NotBakedNormalizedSize size)
{
    auto result = wrap(NSImage::make(size.notBakedNormalizedSize));
    result->size = size.notBakedNormalizedSize;
    return result;
}

Ref<const CGImage> getCGImage(const Ref<const CIImage>& image)
{
    if (!image)
        return failAbsentInput("render");
    return CIContext().createCGImage(image, image->extent());
}

Ref<ZelImage> ZelImageHelper::load(LoadUrl file)
{
    return makeZelImage(file.url);
}
CGFloat ZelImageHelper::bakingScaleFactor()
{
    return Screens::displayScale();
}

} // namespace zel
