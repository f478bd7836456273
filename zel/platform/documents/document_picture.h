#pragma once
#include <zel/platform/documents/document.h>

#include <mutex>
#include <optional>
#include <utility>

namespace zel {

/// A document that is opened as a picture: its first page or drawing, which measures in points and is rendered at any
/// size. Keeps the encoded bytes and no process. May be used from any number of threads.
class DocumentPicture {
public:
    /// Rendered at one pixel a point from the start, so that what does not render is no picture. Null, noted, then, and
    /// for what `Document::open` refuses.
    static Ref<const DocumentPicture> open(const Ref<const ByteSource>& source, Document::Kind kind);

    [[nodiscard]] CGSize points() const { return points_; }
    /// On transparent paper, filling exactly those pixels; the last size that was asked for is kept. Null, noted, where
    /// that cannot be had. Cost: a process, but for the sizes that are there.
    [[nodiscard]] Ref<const CGImage> bitmap(int width, int height) const;
    /// At one pixel a point, sides rounded up.
    [[nodiscard]] const Ref<const CGImage>& natural() const { return natural_; }

private:
    DocumentPicture(Ref<const ByteSource> source, Document::Kind kind) : source_(std::move(source)), kind_(kind) {}

    Ref<const ByteSource> source_;
    Document::Kind kind_;
    CGSize points_;
    Ref<const CGImage> natural_;
    mutable std::mutex mutex_;
    mutable Ref<const CGImage> last_; ///< of another size than the natural one
};

} // namespace zel
