#include <zel/platform/codecs/gif_blocks.h>

#include <zel/platform/foundation/guards.h>
#include <zel/platform/foundation/notes.h>
#include <zel/platform/graphics/color_space.h>

#include <fmt/format.h>

#include <string_view>

namespace zel::gif {
namespace {

enum Introducer { extension = 0x21, image = 0x2C };
enum Label { graphicControl = 0xF9, application = 0xFF };
constexpr std::size_t screenBytes = 13, imageBytes = 9, mostProfileBytes = std::size_t{4} << 20U;

Absent failShort()
{
    return fail(ZelFailureCode::truncated, "decode", "GIF: the file ends before its first picture");
}

int entriesOf(std::uint8_t flags)
{
    return (flags & 0x80) == 0 ? 0 : 2 << (flags & 7);
}

bool readColors(ByteReader& reader, int count, Picture& picture)
{
    std::array<std::uint8_t, 3> color{};
    for (int i = 0; i < count; ++i) {
        if (!reader.read(color))
            return false;
        picture.colors[static_cast<std::size_t>(i)] = {color[0], color[1], color[2], 255};
    }
    return true;
}

/// Passes sub-blocks, the empty one included. What they hold is added to `content`, up to a bound, where one is given.
bool passBlocks(ByteReader& reader, std::vector<std::uint8_t>* content = nullptr)
{
    for (int size = reader.next(); size != 0; size = reader.next()) {
        if (size < 0)
            return false;
        if (content == nullptr || content->size() > mostProfileBytes) {
            if (!reader.skip(static_cast<std::uint64_t>(size)))
                return false;
            continue;
        }
        const std::size_t before = content->size();
        content->resize(before + static_cast<std::size_t>(size));
        if (!reader.read(std::span(*content).subspan(before)))
            return false;
    }
    return true;
}

/// What stands before the first picture: which colour is clear, and a profile.
struct Control {
    int clearColor = -1;
    std::vector<std::uint8_t> profile;
};

bool readExtension(ByteReader& reader, Control& control)
{
    const int label = reader.next();
    std::array<std::uint8_t, 255> data{};
    const int size = reader.next();
    if (size < 0 || !reader.read(std::span(data).first(static_cast<std::size_t>(size))))
        return false;
    if (size == 0)
        return true;
    if (label == graphicControl && size >= 4)
        control.clearColor = (data[0] & 1) != 0 ? data[3] : -1;
    constexpr std::string_view profileName = "ICCRGBG1012";
    const bool isProfile = label == application && static_cast<std::size_t>(size) == profileName.size() &&
                           std::equal(profileName.begin(), profileName.end(), data.begin());
    return passBlocks(reader, isProfile && control.profile.empty() ? &control.profile : nullptr);
}

bool readFrame(ByteReader& reader, const Control& control, int globalColors, Picture& picture)
{
    std::array<std::uint8_t, imageBytes> bytes{};
    if (!reader.read(bytes))
        return failShort();
    picture.left = static_cast<int>(little16(bytes.data()));
    picture.top = static_cast<int>(little16(bytes.data() + 2));
    picture.width = static_cast<int>(little16(bytes.data() + 4));
    picture.height = static_cast<int>(little16(bytes.data() + 6));
    picture.interlaced = (bytes[8] & 0x40) != 0;
    const int colors = entriesOf(bytes[8]);
    if (colors > 0) {
        picture.colors.fill({0, 0, 0, 255});
        if (!readColors(reader, colors, picture))
            return failShort();
    }
    if (colors == 0 && globalColors == 0)
        return fail(ZelFailureCode::unreadable, "decode", "GIF: the colours are missing");
    if (control.clearColor >= 0) {
        picture.colors[static_cast<std::size_t>(control.clearColor)] = {};
        picture.hasClearColor = true;
    }
    // Some files have screens of no size, or of less than their picture needs.
    picture.canvasWidth = std::max(picture.canvasWidth, picture.left + picture.width);
    picture.canvasHeight = std::max(picture.canvasHeight, picture.top + picture.height);
    if (picture.width == 0 || picture.height == 0)
        return fail(ZelFailureCode::unreadable, "decode",
                    fmt::format("GIF: {} x {} pixels make no picture", picture.width, picture.height));
    return withinDecodeLimits(picture.canvasWidth, picture.canvasHeight, 4, "decode");
}

int countFrames(ByteReader& reader)
{
    const int most = ZelLimits::current().frames;
    const Deadline deadline;
    int count = 1;
    if (reader.next() < 0 || !passBlocks(reader)) // of the first one
        return count;
    while (count < most && !deadline.passed()) {
        const int next = reader.next();
        if (next == extension) {
            reader.next();
        } else if (next == image) {
            std::array<std::uint8_t, imageBytes> bytes{};
            if (!reader.read(bytes) || !reader.skip(static_cast<std::uint64_t>(entriesOf(bytes[8])) * 3 + 1))
                return count;
            ++count;
        } else {
            return count;
        }
        if (!passBlocks(reader))
            return count;
    }
    return count;
}

} // namespace

std::optional<Picture> readBlocks(const ByteSource& source)
{
    ByteReader reader(source);
    std::array<std::uint8_t, screenBytes> screen{};
    if (!reader.read(screen))
        return failShort();
    Picture picture;
    picture.canvasWidth = static_cast<int>(little16(screen.data() + 6));
    picture.canvasHeight = static_cast<int>(little16(screen.data() + 8));
    picture.colors.fill({0, 0, 0, 255});
    const int globalColors = entriesOf(screen[10]);
    if (!readColors(reader, globalColors, picture))
        return failShort();
    Control control;
    const Deadline deadline;
    int next = reader.next();
    for (; next == extension && !deadline.passed(); next = reader.next())
        if (!readExtension(reader, control))
            return failShort();
    if (next < 0)
        return failShort();
    if (next != image)
        return fail(ZelFailureCode::unreadable, "decode", "GIF: no picture in the file");
    if (!readFrame(reader, control, globalColors, picture))
        return std::nullopt;
    picture.pixels = reader.position();
    if (!control.profile.empty())
        picture.profile = CGColorSpace::fromProfile(Data(std::move(control.profile)), 3, "decode");
    picture.frames = countFrames(reader);
    return picture;
}

SubBlocks::SubBlocks(const ByteSource& source, std::uint64_t position) : reader_(source, position)
{
    const int codeSize = reader_.next();
    endedEarly_ = codeSize < 0;
    block_[0] = static_cast<std::uint8_t>(std::max(codeSize, 0));
    size_ = 1;
}

void SubBlocks::compose()
{
    at_ = 0;
    size_ = 1;
    block_[0] = 0;
    const int wanted = endedEarly_ ? 0 : reader_.next();
    if (wanted > 0)
        while (size_ <= static_cast<std::size_t>(wanted)) {
            const int byte = reader_.next();
            if (byte < 0)
                break;
            block_[size_++] = static_cast<std::uint8_t>(byte);
        }
    endedEarly_ = endedEarly_ || wanted < 0 || size_ != static_cast<std::size_t>(wanted) + 1;
    block_[0] = static_cast<std::uint8_t>(size_ - 1);
}

void SubBlocks::read(std::span<std::uint8_t> into)
{
    for (std::uint8_t& byte : into) {
        if (at_ == size_)
            compose();
        byte = block_[at_++];
    }
}

} // namespace zel::gif
