#include <zel/platform/graphics/color_space.h>

#include <zel/platform/foundation/notes.h>
#include <zel/platform/graphics/icc_profile.h>
#include <zel/platform/graphics/lab.h>

#include <fmt/format.h>

#include <algorithm>
#include <cstring>
#include <list>

// A colour space makes its conversion when it is made, so that a profile that yields none is found out at once.
// Profiles of curves and a matrix go through tables of our own, four times as fast as lcms2; grey ones through one
// table; all others through lcms2.
namespace zel {

struct ColorTransform::State {
    std::function<void(const engine::ConstPixels&, const engine::Pixels&)> apply;
};

struct CGColorSpace::State {
    Ref<const ColorTransform> transform;
    bool nearSrgb = false;
};

namespace {

using Apply = std::function<void(const engine::ConstPixels&, const engine::Pixels&)>;

constexpr std::size_t mostProfileBytes = std::size_t{4} << 20U;

constexpr cmsUInt32Number sampleFormat(unsigned space, unsigned channels, unsigned extra, unsigned bytes)
{
    return COLORSPACE_SH(space) | CHANNELS_SH(channels) | EXTRA_SH(extra) | BYTES_SH(bytes);
}

/// lcms2 for one kind of samples; the transform for 16 bits is made when first needed.
class LcmsConverter {
public:
    LcmsConverter(IccProfile profile, unsigned space, unsigned channels)
        : profile_(std::move(profile)), space_(space), channels_(channels), transform8_(make(1))
    {
    }
    [[nodiscard]] bool works() const { return transform8_ != nullptr; }

    void apply(const engine::ConstPixels& from, const engine::Pixels& to) const
    {
        const bool wide = to.bytesPerPixel == 8;
        if (wide)
            std::call_once(made16_, [this] { transform16_ = make(2); });
        const IccTransform& transform = wide ? transform16_ : transform8_;
        for (int y = 0; y < to.height; ++y) {
            if (transform)
                cmsDoTransform(transform.get(), from.row(y), to.row(y), static_cast<cmsUInt32Number>(to.width));
            if (channels_ == 4)
                makeOpaque(to.rows(y, 1));
        }
    }

private:
    [[nodiscard]] IccTransform make(unsigned bytes) const
    {
        return makeTransformToSrgb(profile_, sampleFormat(space_, channels_, 4 - channels_, bytes),
                                   sampleFormat(PT_RGB, 3, 1, bytes), channels_ == 3 ? cmsFLAGS_COPY_ALPHA : 0);
    }
    static void makeOpaque(const engine::Pixels& row)
    {
        const int component = row.bytesPerPixel / 4;
        for (int x = 0; x < row.width; ++x)
            std::memset(row.at(x, 0) + 3 * component, 0xFF, static_cast<std::size_t>(component));
    }

    IccProfile profile_;
    unsigned space_, channels_;
    IccTransform transform8_;
    mutable std::once_flag made16_;
    mutable IccTransform transform16_;
};

/// A grey profile: all of it is one curve, whatever it is made of. The table for 16 bits is made when first needed.
class GrayConverter {
public:
    explicit GrayConverter(const IccProfile& profile)
        : transform_(makeTransformToSrgb(profile, TYPE_GRAY_16, TYPE_RGB_16, cmsFLAGS_NOOPTIMIZE))
    {
        if (!transform_)
            return;
        const std::vector<std::uint16_t> table = curve(256);
        for (std::size_t i = 0; i < table8_.size(); ++i)
            table8_[i] = static_cast<std::uint8_t>((table[i] + 128) / 257);
    }
    [[nodiscard]] bool works() const { return transform_ != nullptr; }

    void apply(const engine::ConstPixels& from, const engine::Pixels& to) const
    {
        const bool wide = to.bytesPerPixel == 8;
        if (wide)
            std::call_once(made16_, [this] { table16_ = curve(65536); });
        for (int y = 0; y < to.height; ++y)
            for (int x = 0; x < to.width; ++x) {
                if (wide)
                    apply16(from.at(x, y), to.at(x, y));
                else
                    apply8(from.at(x, y), to.at(x, y));
            }
    }

private:
    /// What so many greys, evenly from black to white, become.
    [[nodiscard]] std::vector<std::uint16_t> curve(std::size_t count) const
    {
        std::vector<std::uint16_t> grays(count), colors(3 * count);
        for (std::size_t i = 0; i < count; ++i)
            grays[i] = static_cast<std::uint16_t>(i * (65535 / (count - 1)));
        cmsDoTransform(transform_.get(), grays.data(), colors.data(), static_cast<cmsUInt32Number>(count));
        for (std::size_t i = 0; i < count; ++i)
            grays[i] = colors[3 * i + 1];
        return grays;
    }
    void apply8(const std::uint8_t* from, std::uint8_t* to) const
    {
        const std::uint8_t pixel[4] = {table8_[from[0]], table8_[from[1]], table8_[from[2]], from[3]};
        std::memcpy(to, pixel, 4);
    }
    void apply16(const std::uint8_t* from, std::uint8_t* to) const
    {
        std::uint16_t pixel[4];
        std::memcpy(pixel, from, 8);
        for (int i = 0; i < 3; ++i)
            pixel[i] = table16_[pixel[i]];
        std::memcpy(to, pixel, 8);
    }

    IccTransform transform_;
    std::array<std::uint8_t, 256> table8_{};
    mutable std::once_flag made16_;
    mutable std::vector<std::uint16_t> table16_;
};

/// r = (full - c)(full - k) / full, to nearest.
template <class Sample>
void inksToRgb(const std::uint8_t* from, std::uint8_t* to, int width)
{
    constexpr std::uint32_t full = std::numeric_limits<Sample>::max();
    for (int x = 0; x < width; ++x, from += 4 * sizeof(Sample), to += 4 * sizeof(Sample)) {
        Sample pixel[4];
        std::memcpy(pixel, from, sizeof pixel);
        const std::uint32_t paper = full - pixel[3];
        for (int i = 0; i < 3; ++i)
            pixel[i] = static_cast<Sample>(((full - pixel[i]) * paper + full / 2) / full);
        pixel[3] = static_cast<Sample>(full);
        std::memcpy(to, pixel, sizeof pixel);
    }
}

void inksByFormula(const engine::ConstPixels& from, const engine::Pixels& to)
{
    for (int y = 0; y < to.height; ++y) {
        if (to.bytesPerPixel == 8)
            inksToRgb<std::uint16_t>(from.row(y), to.row(y), to.width);
        else
            inksToRgb<std::uint8_t>(from.row(y), to.row(y), to.width);
    }
}

/// The conversion that a profile of such samples amounts to; empty when it yields none.
Apply converterOf(IccProfile profile, int channels)
{
    const auto bind = [](const auto& converter) -> Apply {
        return [converter](const engine::ConstPixels& from, const engine::Pixels& to) { converter->apply(from, to); };
    };
    if (channels == 1) {
        const auto gray = std::make_shared<const GrayConverter>(profile);
        return gray->works() ? bind(gray) : Apply();
    }
    if (channels == 3)
        if (const Ref<const MatrixShaper> shaper = makeMatrixShaper(profile))
            return bind(shaper);
    const auto lcms = std::make_shared<const LcmsConverter>(std::move(profile), channels == 4 ? PT_CMYK : PT_RGB,
                                                            static_cast<unsigned>(channels));
    return lcms->works() ? bind(lcms) : Apply();
}

/// How far the conversion moves an 8-bit value at most: over a grid of colours for RGB, over all greys for grey.
int farthestMove(const Apply& apply, int channels)
{
    std::vector<std::uint8_t> samples;
    const auto add = [&](int red, int green, int blue) {
        for (const int value : {red, green, blue, 255})
            samples.push_back(static_cast<std::uint8_t>(value));
    };
    for (int value = 0; value < 256; ++value)
        add(value, value, value);
    constexpr int step = 15; // 18 values from 0 to 255
    if (channels == 3)
        for (int red = 0; red < 256; red += step)
            for (int green = 0; green < 256; green += step)
                for (int blue = 0; blue < 256; blue += step)
                    add(red, green, blue);

    std::vector<std::uint8_t> moved(samples.size());
    const int count = static_cast<int>(samples.size() / 4);
    apply({samples.data(), 0, count, 1, 4}, {moved.data(), 0, count, 1, 4});
    int farthest = 0;
    for (std::size_t i = 0; i < samples.size(); ++i)
        farthest = std::max(farthest, std::abs(int{samples[i]} - int{moved[i]}));
    return farthest;
}

/// The last few profiles, so that a series of pictures with the same one makes its tables once.
class RecentSpaces {
public:
    Ref<const CGColorSpace> find(const Data& profile, int channels)
    {
        const std::scoped_lock lock(mutex_);
        const auto found = std::find_if(spaces_.begin(), spaces_.end(), [&](const Ref<const CGColorSpace>& space) {
            return space->channels() == channels && space->profile() == profile;
        });
        if (found == spaces_.end())
            return nullptr;
        spaces_.splice(spaces_.begin(), spaces_, found);
        return spaces_.front();
    }
    void keep(const Ref<const CGColorSpace>& space)
    {
        const std::scoped_lock lock(mutex_);
        spaces_.push_front(space);
        std::size_t bytes = 0;
        const auto tooMany = std::find_if(spaces_.begin(), spaces_.end(), [&](const Ref<const CGColorSpace>& kept) {
            bytes += kept->profile().size();
            return bytes > mostBytes;
        });
        spaces_.erase(tooMany, spaces_.end());
        if (spaces_.size() > mostSpaces)
            spaces_.pop_back();
    }

private:
    static constexpr std::size_t mostSpaces = 8;
    static constexpr std::size_t mostBytes = std::size_t{4} << 20U;
    std::mutex mutex_;
    std::list<Ref<const CGColorSpace>> spaces_;
};

RecentSpaces& recentSpaces()
{
    static RecentSpaces& shared = *new RecentSpaces; // outlives whatever still decodes while the process ends
    return shared;
}

/// "RGB", "CMYK": the signature's letters.
std::string samplesOf(const IccProfile& profile)
{
    const cmsColorSpaceSignature space = cmsGetColorSpace(profile.get());
    std::string letters;
    for (unsigned shift = 32; shift > 0;) {
        shift -= 8;
        const auto letter = static_cast<char>(static_cast<unsigned>(space) >> shift & 0xFF);
        if (letter > ' ' && letter <= '~')
            letters += letter;
    }
    return letters;
}

} // namespace

Ref<const CGColorSpace> CGColorSpace::fromProfile(Data bytes, int channels, std::string_view operation)
{
    const auto unusable = [&](std::string_view reason) {
        warn(ZelFailureCode::unreadable, operation,
             fmt::format("the colour profile is not used, colours are taken as sRGB: {}", reason));
        return nullptr;
    };
    if (bytes.empty())
        return unusable("it is empty");
    if (bytes.size() > mostProfileBytes)
        return unusable(fmt::format("its {} bytes exceed the limit of {}", bytes.size(), mostProfileBytes));
    if (Ref<const CGColorSpace> known = recentSpaces().find(bytes, channels))
        return known;

    takeIccMessage();
    IccProfile profile = openIccProfile(bytes.span());
    if (!profile) {
        const std::string message = takeIccMessage();
        return unusable(message.empty() ? "it does not describe the colours of a device" : message);
    }
    const cmsColorSpaceSignature wanted = channels == 1   ? cmsSigGrayData
                                          : channels == 3 ? cmsSigRgbData
                                                          : cmsSigCmykData;
    if (cmsGetColorSpace(profile.get()) != wanted)
        return unusable(
            fmt::format("it describes {} samples, the picture has {} a pixel", samplesOf(profile), channels));

    std::string name = iccDescription(profile);
    Apply apply = converterOf(std::move(profile), channels);
    if (!apply) {
        const std::string message = takeIccMessage();
        return unusable(message.empty() ? "it yields no conversion" : message);
    }
    const Ref<CGColorSpace> space(new CGColorSpace);
    space->state_ = std::make_shared<State>();
    space->state_->nearSrgb = channels != 4 && farthestMove(apply, channels) <= 1;
    space->state_->transform = ColorTransform::of(std::move(apply));
    space->profile_ = std::move(bytes);
    space->name_ = std::move(name);
    space->channels_ = channels;
    recentSpaces().keep(space);
    return space;
}

bool CGColorSpace::isNearSrgb() const
{
    return state_->nearSrgb;
}

Ref<const ColorTransform>
ColorTransform::of(std::function<void(const engine::ConstPixels&, const engine::Pixels&)> apply)
{
    const auto transform = std::make_shared<ColorTransform>();
    transform->state_ = std::make_shared<State>();
    transform->state_->apply = std::move(apply);
    return transform;
}

Ref<const ColorTransform> ColorTransform::toSrgb(const Ref<const CGColorSpace>& from)
{
    return from && from->channels() != 4 && !from->isNearSrgb() ? from->state_->transform : nullptr;
}

Ref<const ColorTransform> ColorTransform::cmykToSrgb(const Ref<const CGColorSpace>& from)
{
    static const Ref<const ColorTransform> formula = of(inksByFormula);
    return from && from->channels() == 4 ? from->state_->transform : formula;
}

Ref<const ColorTransform> ColorTransform::labToSrgb()
{
    static const Ref<const ColorTransform> shared = of(zel::labToSrgb);
    return shared;
}

void ColorTransform::apply(const engine::ConstPixels& from, const engine::Pixels& to) const
{
    state_->apply(from, to);
}

} // namespace zel
