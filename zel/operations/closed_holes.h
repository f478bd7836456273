#pragma once
#include <zel/engine/label.h>
#include <zel/platform/graphics/image_part.h>

namespace zel {

/// A picture in which holes were closed one turn after the other, kept as it was before the first turn: what it looked
/// like after any turn is made when somebody asks.
class ClosedHoles : public std::enable_shared_from_this<ClosedHoles> {
public:
    static constexpr std::uint32_t never = 0xFFFFFFFFu;

    /// `picture`: red, green, blue, alpha, 8 bits, premultiplied, in memory. `turns`: for each region of its map the
    /// turn in which it was closed, or `never`. Throws bad_alloc.
    ClosedHoles(Ref<const CGImage> picture, const engine::RegionMap& map, const std::vector<std::uint32_t>& turns);

    /// The part after a turn: shares the picture's memory where no hole in it was closed by then. Null, noted, where
    /// the part does not lie in the picture.
    [[nodiscard]] Ref<const CGImage> crop(const PixelArea& part, std::uint32_t turn);

private:
    friend class ClosedHolesProvider;
    struct Span {
        int start, end;
        std::uint32_t turn;
    };
    /// Calls `take(start, end)` with columns of the picture that lie in the part and were closed by then.
    template <class Take>
    void forEachSpan(const PixelArea& part, int y, std::uint32_t turn, const Take& take) const;
    [[nodiscard]] bool mayHaveClosed(const PixelArea& part, std::uint32_t turn);

    Ref<const CGImage> picture_;
    std::vector<std::size_t> rowStarts_;
    std::vector<Span> spans_;
    std::int64_t rowsToLookAt_; ///< before parts are taken to have closed holes without a look
};

} // namespace zel
