#include <zel/io/size_search.h>

#include <zel/core/geometry.h>
#include <zel/operations/resize.h>
#include <zel/platform/codecs/encode.h>
#include <zel/platform/foundation/console.h>
#include <zel/platform/foundation/notes.h>
#include <zel/platform/foundation/number_text.h>
#include <zel/support/dicotomic.h>

#include <fmt/format.h>

#include <cmath>
#include <map>
#include <set>

namespace zel {
namespace {

/// The sizes measured so far. Each quality is encoded once; the search's own measurements are told on the console once.
class Measurements {
public:
    Measurements(const ByteCount& count, std::int64_t wanted) : count_(count)
    {
        // Nobody hears the exact figure of a size far above the wanted one, and the search only asks which of two sizes
        // is nearer: what has twice as many bytes is further away than every size below. Up to there figures are exact.
        if (!Console::isHeard())
            limit_ = 2 * static_cast<std::uint64_t>(std::max<std::int64_t>(wanted, 1));
    }
    std::optional<std::uint64_t> bytes(double quality)
    {
        const auto known = sizes_.find(quality);
        if (known != sizes_.end())
            return known->second;
        auto measured = count_(quality, limit_);
        if (measured && limit_ > 0 && *measured > limit_)
            // Sizes rise with quality; so do these, which stand for "far too large".
            measured = limit_ + static_cast<std::uint64_t>(static_cast<double>(limit_) * quality);
        return sizes_[quality] = measured;
    }
    double told(double quality)
    {
        const double size = static_cast<double>(bytes(quality).value_or(0));
        if (told_.insert(quality).second)
            Console::print("size: " + shortestDecimal(size));
        return size;
    }
    /// The quality with the largest size of at most `most`; the one given where that is small enough itself.
    double notAbove(double quality, std::int64_t most)
    {
        if (static_cast<std::int64_t>(bytes(quality).value_or(0)) <= most)
            return quality;
        std::uint64_t best = 0;
        for (const auto& [candidate, size] : sizes_)
            if (size && static_cast<std::int64_t>(*size) <= most && *size >= best) {
                best = *size;
                quality = candidate;
            }
        return quality;
    }

private:
    const ByteCount& count_;
    std::uint64_t limit_ = 0;
    std::map<double, std::optional<std::uint64_t>> sizes_;
    std::set<double> told_;
};

/// Counts a picture's bytes at qualities, and keeps those of the probe that came nearest to the wanted size: they are
/// nearly always the answer.
template <class Encoder>
class Nearest {
public:
    Nearest(const Encoder& encoder, std::int64_t wanted)
        : encoder_(encoder), target_(static_cast<double>(wanted) * 0.975)
    {
    }

    std::optional<std::uint64_t> count(double quality, std::uint64_t limit)
    {
        if constexpr (std::is_same_v<Encoder, JpegEncoder>) {
            // The ends of the range are far from most answers, and the best quality is large.
            if (quality <= 0 || quality >= 1)
                return encoder_.countBytes(quality, limit);
        }
        std::optional<Data> bytes = encoder_.encode(quality);
        if (!bytes)
            return std::nullopt;
        const std::size_t size = bytes->size();
        if (!kept_ || distance(size) < distance(kept_->size())) {
            kept_ = std::move(bytes);
            quality_ = quality;
        }
        return size;
    }
    std::optional<Data> at(double quality)
    {
        return kept_ && quality_ == quality ? std::move(kept_) : encoder_.encode(quality);
    }

private:
    [[nodiscard]] double distance(std::size_t size) const { return std::fabs(static_cast<double>(size) - target_); }

    const Encoder& encoder_;
    double target_;
    std::optional<Data> kept_;
    double quality_ = 0;
};

/// Searches the quality, and reduces the picture to the size that `smaller` gives as often as it takes.
template <class Encoder, class MakeEncoder>
std::optional<Data> within(const Ref<ZelImage>& image, std::int64_t wanted, SizeRule rule,
                           const MakeEncoder& makeEncoder, CGSize (*smallerSize)(const ZelImage&))
{
    Ref<ZelImage> current = image;
    while (current) {
        const Ref<Encoder> encoder = makeEncoder(current);
        if (!encoder)
            return std::nullopt;
        Nearest<Encoder> nearest(*encoder, wanted);
        const auto decision = decideQuality(
            [&](double quality, std::uint64_t limit) { return nearest.count(quality, limit); }, wanted, rule);
        if (!decision)
            return std::nullopt;
        if (!decision->shrink)
            return nearest.at(decision->quality);
        const CGSize smaller = boundToInt(smallerSize(*current) * 0.9);
        if (!(smaller.width >= 1 && smaller.height >= 1))
            return fail(ZelFailureCode::limit, "save", fmt::format("even one pixel takes more than {} bytes", wanted));
        current = resize(current, {.to = smaller});
    }
    return failAbsentInput("save");
}

Ref<JpegEncoder> jpegEncoderOf(const Ref<ZelImage>& image)
{
    const Ref<NSBitmapImageRep> rep = image->bitmapRep();
    return rep ? JpegEncoder::make(rep->cgImage()) : nullptr;
}

} // namespace

std::optional<SizeDecision> decideQuality(const ByteCount& count, std::int64_t wanted, SizeRule rule)
{
    Measurements measured(count, wanted);
    const auto best = measured.bytes(1.0);
    if (!best)
        return std::nullopt;
    if (wanted > static_cast<std::int64_t>(*best))
        return SizeDecision{.shrink = false, .quality = 1.0};
    const auto least = measured.bytes(0.0);
    if (least && wanted < static_cast<std::int64_t>(*least))
        return SizeDecision{.shrink = true, .quality = 0.0};
    const ZelDicotomic<double, double> search{.minIndexValue = 0.0,
                                              .maxIndexValue = 1.0,
                                              .target = static_cast<double>(wanted) * 0.975,
                                              .tolerance = 0.001,
                                              .indexTolerace = 0.01,
                                              .calculation = [&](double quality) { return measured.told(quality); }};
    const double quality = search.search();
    Console::print("quality: " + shortestDecimal(quality));
    return SizeDecision{.shrink = false,
                        .quality = rule == SizeRule::neverMore ? measured.notAbove(quality, wanted) : quality};
}

std::optional<Data> jpegWithin(const Ref<ZelImage>& image, std::int64_t wanted, SizeRule rule)
{
    return within<JpegEncoder>(image, wanted, rule, jpegEncoderOf,
                               [](const ZelImage& current) { return current.size; });
}

std::optional<Data> heifWithin(const Ref<ZelImage>& image, std::int64_t wanted, SizeRule rule, bool useAlpha,
                               heif::Coding coding)
{
    const auto makeEncoder = [&](const Ref<ZelImage>& current) { return heifEncoderOf(current, useAlpha, coding); };
    return within<HeifEncoder>(image, wanted, rule, makeEncoder, [](const ZelImage& current) {
        return current.image ? current.image->size() : current.size;
    });
}

} // namespace zel
