#pragma once
#include <zel/export.h>
#include <zel/platform/documents/protocol.h>
#include <zel/platform/foundation/byte_source.h>
#include <zel/platform/foundation/geometry.h>
#include <zel/platform/graphics/cg_image.h>

#include <array>
#include <memory>

namespace zel {

/// PDF pages or a vector drawing (one page), rendered by a process of its own that is started on opening and again, a
/// few times, after a page was its end. May be used from any number of threads; pages render one at a time.
class ZEL_API Document {
public:
    using Kind = documents::Kind;

    /// What the first bytes say; absent for anything else.
    static std::optional<Kind> kindOf(std::span<const std::uint8_t> head);
    static std::optional<Kind> kindOf(const ByteSource& source);
    static constexpr std::size_t headBytes = 1024;

    /// Null, with the reason noted: no such document, locked by a password, too large, the program missing, or slower
    /// than `ZelLimits::decodeTime` allows.
    static Ref<Document> open(const Ref<const ByteSource>& source, Kind kind);
    ~Document();
    Document(const Document&) = delete;
    Document& operator=(const Document&) = delete;

    /// At most `ZelLimits::pages`.
    [[nodiscard]] int pageCount() const;
    /// In points, as displayed: crop box, turn. Absent, noted, where the page is not there or the process fails.
    std::optional<CGSize> pageSize(int page);

    using Paper = std::array<std::uint8_t, 3>; ///< red, green, blue

    /// The whole page, filling exactly `width` × `height` pixels: premultiplied on transparent paper, opaque on paper
    /// of a colour. Null, noted, where that cannot be had.
    Ref<const CGImage> render(int page, int width, int height, std::optional<Paper> paper = {});
    /// Begins to render a page beside whatever the caller does next; a `render` of the same page and size takes it
    /// over, anything else drops it. Costs shared memory for one page.
    void renderAhead(int page, int width, int height);

private:
    Document();
    struct State;
    std::unique_ptr<State> state_;
};

} // namespace zel
