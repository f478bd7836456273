#include <zel/operations/closed_holes.h>

#include <zel/engine/fill.h>
#include <zel/platform/foundation/notes.h>
#include <zel/platform/graphics/image_rows.h>

#include <algorithm>

namespace zel {

/// The rows of a part after a turn.
class ClosedHolesProvider : public PixelProvider {
public:
    ClosedHolesProvider(Ref<const ClosedHoles> holes, const PixelArea& part, std::uint32_t turn)
        : holes_(std::move(holes)), part_(part), turn_(turn)
    {
        facts_.layout = holes_->picture_->layout();
        facts_.layout.width = part.width;
        facts_.layout.height = part.height;
        facts_.hasAlpha = true;
    }

    [[nodiscard]] const PictureFacts& facts() const override { return facts_; }
    /// Copying is too little work to be worth a thread.
    [[nodiscard]] bool usesSecondThread() const override { return true; }
    [[nodiscard]] bool decode(const Request& request, const RowSink& sink) const override;

private:
    Ref<const ClosedHoles> holes_;
    PixelArea part_;
    std::uint32_t turn_;
    PictureFacts facts_;
};

ClosedHoles::ClosedHoles(Ref<const CGImage> picture, const engine::RegionMap& map,
                         const std::vector<std::uint32_t>& turns)
    : picture_(std::move(picture)), rowsToLookAt_(static_cast<std::int64_t>(map.width()) * map.height())
{
    rowStarts_.reserve(static_cast<std::size_t>(map.height()) + 1);
    for (int y = 0; y < map.height(); ++y) {
        rowStarts_.push_back(spans_.size());
        const auto runs = map.row(y);
        for (std::size_t i = 0; i < runs.size(); ++i) {
            const std::uint32_t turn = turns[runs[i].region];
            if (turn == never)
                continue;
            const bool goesOn =
                spans_.size() > rowStarts_.back() && spans_.back().end == runs[i].start && spans_.back().turn == turn;
            if (goesOn)
                spans_.back().end = map.end(runs, i);
            else
                spans_.push_back({runs[i].start, map.end(runs, i), turn});
        }
    }
    rowStarts_.push_back(spans_.size());
}

template <class Take>
void ClosedHoles::forEachSpan(const PixelArea& part, int y, std::uint32_t turn, const Take& take) const
{
    const auto row = static_cast<std::size_t>(y);
    const Span* const end = spans_.data() + rowStarts_[row + 1];
    const int right = part.left + part.width;
    const Span* span = std::partition_point(spans_.data() + rowStarts_[row], end,
                                            [&](const Span& each) { return each.end <= part.left; });
    for (; span != end && span->start < right; ++span)
        if (span->turn <= turn)
            take(std::max(span->start, part.left), std::min(span->end, right));
}

bool ClosedHoles::mayHaveClosed(const PixelArea& part, std::uint32_t turn)
{
    bool found = false;
    for (int y = part.top; y < part.top + part.height && !found; ++y) {
        if (--rowsToLookAt_ < 0)
            return true;
        forEachSpan(part, y, turn, [&](int, int) { found = true; });
    }
    return found;
}

Ref<const CGImage> ClosedHoles::crop(const PixelArea& part, std::uint32_t turn)
{
    if (!mayHaveClosed(part, turn))
        return partOf(picture_, part);
    return CGImage::make(std::make_shared<ClosedHolesProvider>(shared_from_this(), part, turn));
}

bool ClosedHolesProvider::decode(const Request& request, const RowSink& sink) const
{
    const engine::ConstPixels whole = pixelsOf(*holes_->picture_);
    if (whole.empty() || request.denominator != 1 || request.firstRow < 0)
        return fail(ZelFailureCode::invalidArgument, "decode", "no such rows of a subject");
    const int end = request.rowCount < 0
                        ? part_.height
                        : std::min(request.rowCount, part_.height - request.firstRow) + request.firstRow;
    // Bands that stay in the cache while the sink works on them.
    const int step = static_cast<int>(
        std::clamp<std::int64_t>((256 << 10) / (std::int64_t{part_.width} * 4), 1, std::int64_t{part_.height}));
    engine::PixelBuffer band(part_.width, step);
    if (band.empty())
        return fail(ZelFailureCode::outOfMemory, "decode", "no memory for a band of rows");
    for (int first = request.firstRow; first < end; first += step) {
        const engine::Pixels rows = band.pixels().rows(0, std::min(step, end - first));
        if (!engine::copy(whole.part(part_.left, part_.top + first, part_.width, rows.height), rows))
            return false;
        for (int y = 0; y < rows.height; ++y)
            holes_->forEachSpan(part_, part_.top + first + y, turn_, [&](int start, int stop) {
                for (int x = start; x < stop; ++x)
                    rows.at(x - part_.left, y)[3] = 255;
            });
        if (!sink(first, rows))
            return false;
    }
    return true;
}

} // namespace zel
