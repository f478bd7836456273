#pragma once
#include <zel/export.h>
#include <zel/platform/documents/protocol.h>
#include <zel/platform/foundation/byte_source.h>
#include <zel/platform/foundation/geometry.h>
#include <zel/platform/graphics/cg_image.h>

#include <array>
#include <memory>

namespace zel {

/// PDF pages or a vector drawing (one page), rendered by processes of their own: one that is started on opening, a
/// second one beside it where pages are begun ahead and there is a second core. They are started again, a few times,
/// after a page was their end. May be used from any number of threads.
class ZEL_API Document {
public:
    using Kind = documents::Kind;

    /// What the first bytes say; absent for anything else.
    static std::optional<Kind> kindOf(std::span<const std::uint8_t> head);
    /// Absent for encoded pictures too, whatever they hold besides.
    static std::optional<Kind> kindOf(const ByteSource& source);
    static constexpr std::size_t headBytes = 1024;

    /// Whether such documents can be opened here; `missingPart` is noted where they cannot.
    static bool isInstalled(Kind kind);

    /// How many pages the caller expects to want: several have the second process started beside the first.
    enum class Expecting { onePage, severalPages };
    /// Null, with the reason noted: no such document, locked by a password, too large, the program missing, or slower
    /// than `ZelLimits::decodeTime` allows.
    static Ref<Document> open(const Ref<const ByteSource>& source, Kind kind, Expecting expecting = Expecting::onePage);
    ~Document();
    Document(const Document&) = delete;
    Document& operator=(const Document&) = delete;

    /// At most `ZelLimits::pages`.
    [[nodiscard]] int pageCount() const;
    /// In points, as displayed: crop box, turn. Absent, noted, where the page is not there or the process fails. Where
    /// every process is at work on a page it waits for one; that page is not lost.
    std::optional<CGSize> pageSize(int page);

    using Paper = std::array<std::uint8_t, 3>; ///< red, green, blue

    /// The whole page, filling exactly `width` × `height` pixels: premultiplied on transparent paper, opaque on paper
    /// of a colour. Null, noted, where that cannot be had.
    Ref<const CGImage> render(int page, int width, int height, std::optional<Paper> paper = {});
    /// Begins to render a page beside whatever the caller does next, where a process is idle; a `render` of the same
    /// takes it over. Costs the process memory for a page.
    void renderAhead(int page, int width, int height, std::optional<Paper> paper = {});
    /// Has the processes end, without waiting for that, where no more pages are expected soon: they take memory. What
    /// was begun ahead is lost; what is asked later starts them again.
    void rest();
    /// How many pages are worth beginning ahead of the one that is taken.
    static constexpr int pagesAhead = 2;

private:
    Document();
    struct State;
    std::unique_ptr<State> state_;
};

} // namespace zel
