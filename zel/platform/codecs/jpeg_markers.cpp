#include <zel/platform/codecs/jpeg_markers.h>
#include <zel/platform/foundation/limits.h>
#include <zel/platform/foundation/notes.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <string_view>

// Formats: ITU-T T.81 annex B (segments), ICC.1 annex B.4 (profiles in pieces of APP2), CIPA DC-007 (the multi-picture
// index, a small TIFF of its own in APP2).
namespace zel {
namespace {

constexpr std::size_t maximumProfileBytes = std::size_t{4} << 20;
constexpr std::string_view exifName{"Exif\0\0", 6};
constexpr std::string_view profileName{"ICC_PROFILE\0", 12};
constexpr std::string_view pictureIndexName{"MPF\0", 4};

using Bytes = std::span<const std::uint8_t>;

// Reads forward through a source, by its own memory or through a window.
class Reader {
public:
    explicit Reader(const ByteSource& source) : source_(source), whole_(source.whole()) {}

    [[nodiscard]] bool atEnd() { return bytes(1).empty(); }
    void skip(std::size_t count) { position_ += count; }
    [[nodiscard]] std::uint64_t position() const { return position_; }
    /// The next `count` bytes, not taken; fewer where the source ends. Holds until the next call.
    Bytes bytes(std::size_t count)
    {
        if (!whole_.empty()) {
            const std::uint64_t first = std::min<std::uint64_t>(position_, whole_.size());
            return whole_.subspan(first, std::min<std::size_t>(count, whole_.size() - first));
        }
        if (position_ < windowStart_ || position_ + count > windowStart_ + window_.size()) {
            windowStart_ = position_;
            window_.resize(std::max(count, windowBytes));
            window_.resize(source_.read(windowStart_, window_));
        }
        const std::size_t first = static_cast<std::size_t>(position_ - windowStart_);
        return Bytes(window_).subspan(first, std::min(count, window_.size() - first));
    }

private:
    static constexpr std::size_t windowBytes = 4096;
    const ByteSource& source_;
    Bytes whole_;
    std::uint64_t position_ = 0;
    std::uint64_t windowStart_ = 0;
    std::vector<std::uint8_t> window_;
};

bool startsWith(Bytes bytes, std::string_view name)
{
    return bytes.size() >= name.size() && std::memcmp(bytes.data(), name.data(), name.size()) == 0;
}

// The pieces of a profile, each with its number and the count of all in front.
class ProfilePieces {
public:
    void add(Bytes numbered)
    {
        if (numbered.size() < 2)
            return;
        const std::size_t number = numbered[0];
        const Bytes piece = numbered.subspan(2);
        if (count_ == 0)
            count_ = numbered[1];
        if (number < 1 || number > count_ || numbered[1] != count_ || !pieces_[number].empty()) {
            fits_ = false;
            return;
        }
        bytes_ += piece.size();
        if (bytes_ <= maximumProfileBytes)
            pieces_[number].assign(piece.begin(), piece.end());
        ++found_;
    }

    [[nodiscard]] Data joined() const
    {
        if (found_ == 0 && fits_)
            return {};
        if (!fits_ || found_ != count_) {
            warn(ZelFailureCode::unreadable, "jpeg",
                 "the pieces of the colour profile do not fit together, sRGB is assumed");
            return {};
        }
        if (bytes_ > maximumProfileBytes) {
            warn(ZelFailureCode::limit, "jpeg", "the colour profile has more than 4 MiB, sRGB is assumed");
            return {};
        }
        std::vector<std::uint8_t> all;
        all.reserve(bytes_);
        for (const auto& piece : pieces_)
            all.insert(all.end(), piece.begin(), piece.end());
        return Data(std::move(all));
    }

private:
    std::array<std::vector<std::uint8_t>, 256> pieces_;
    std::size_t count_ = 0;
    std::size_t found_ = 0;
    std::size_t bytes_ = 0;
    bool fits_ = true;
};

// Figures of a TIFF block at checked offsets; 0 outside of it.
struct Tiff {
    Bytes bytes;
    bool littleEndian = false;

    [[nodiscard]] std::uint32_t number(std::size_t offset, std::size_t length) const
    {
        if (offset > bytes.size() || bytes.size() - offset < length)
            return 0;
        std::uint32_t value = 0;
        for (std::size_t index = 0; index < length; ++index)
            value = value << 8 | bytes[offset + (littleEndian ? length - 1 - index : index)];
        return value;
    }
};

// The number of pictures that a multi-picture index states, held to the limit of frames; 1 where it is damaged.
int picturesInIndex(Bytes block)
{
    constexpr std::size_t entryBytes = 12;
    constexpr std::uint32_t numberOfImages = 0xB001;
    const Tiff tiff{block, startsWith(block, "II")};
    if (!tiff.littleEndian && !startsWith(block, "MM"))
        return 1;
    const std::size_t directory = tiff.number(4, 4);
    const std::size_t entries = tiff.number(directory, 2);
    for (std::size_t index = 0; index < entries; ++index) {
        const std::size_t entry = directory + 2 + index * entryBytes;
        if (entry >= block.size())
            break;
        if (tiff.number(entry, 2) == numberOfImages) {
            const std::int64_t stated = tiff.number(entry + 8, 4);
            return static_cast<int>(std::clamp<std::int64_t>(stated, 1, std::max(1, ZelLimits::current().frames)));
        }
    }
    return 1;
}

// Takes the marker at the reader: 0 at the end of the bytes. Bytes that are no marker are passed over, as libjpeg does.
int takeMarker(Reader& reader)
{
    for (;;) {
        const Bytes next = reader.bytes(1024);
        if (next.size() < 2)
            return 0;
        const auto* found = static_cast<const std::uint8_t*>(std::memchr(next.data(), 0xFF, next.size() - 1));
        if (found == nullptr) {
            reader.skip(next.size() - 1);
            continue;
        }
        const int marker = found[1];
        const bool isFill = marker == 0xFF || marker == 0; // fill bytes stand in front of a marker, FF00 is none
        reader.skip(static_cast<std::size_t>(found - next.data()) + (isFill ? 1 : 2));
        if (!isFill)
            return marker;
    }
}

constexpr int endOfImage = 0xD9;
constexpr int startOfScan = 0xDA;

bool standsAlone(int marker)
{
    return marker == 0x01 || (marker >= 0xD0 && marker <= 0xD8);
}

} // namespace

bool readJpegMarkers(const ByteSource& source, const Deadline& deadline, JpegMarkers& markers)
{
    constexpr int app1 = 0xE1;
    constexpr int app2 = 0xE2;
    constexpr int segmentsBetweenChecks = 1024;
    Reader reader(source);
    ProfilePieces pieces;
    bool sawExif = false;
    int segments = 0;
    int marker = takeMarker(reader);
    for (; marker != 0 && marker != endOfImage && marker != startOfScan; marker = takeMarker(reader)) {
        if (++segments % segmentsBetweenChecks == 0 && deadline.passed())
            return fail(ZelFailureCode::limit, "jpeg", "reading the header took longer than the time allowed");
        if (standsAlone(marker))
            continue;
        const Bytes head = reader.bytes(2);
        if (head.size() < 2)
            break;
        const std::size_t length = static_cast<std::size_t>(head[0] << 8 | head[1]);
        if (length < 2)
            break;
        if (marker == app1 || marker == app2) {
            const Bytes body = reader.bytes(length);
            if (body.size() < length)
                break;
            const Bytes content = body.subspan(2);
            if (marker == app1 && !sawExif && startsWith(content, exifName)) {
                markers.exif = readExifFacts(content);
                sawExif = true;
            } else if (marker == app2 && startsWith(content, profileName)) {
                pieces.add(content.subspan(profileName.size()));
            } else if (marker == app2 && startsWith(content, pictureIndexName)) {
                markers.pictures = picturesInIndex(content.subspan(pictureIndexName.size()));
            }
        }
        reader.skip(length);
    }
    if (marker == startOfScan)
        markers.firstScan = reader.position();
    markers.profile = pieces.joined();
    return true;
}

int countJpegScans(Bytes file, std::uint64_t firstScan)
{
    int scans = 0;
    Bytes left = file.subspan(std::min<std::uint64_t>(firstScan, file.size()));
    for (int marker = startOfScan; marker != endOfImage;) {
        scans += marker == startOfScan ? 1 : 0;
        // The segment, then coded data, in which FF is followed by 0 or a restart.
        if (!standsAlone(marker) && left.size() >= 2)
            left = left.subspan(std::min(left.size(), static_cast<std::size_t>(left[0] << 8 | left[1])));
        for (marker = 0; marker == 0 || marker == 0xFF;) {
            const void* const found = left.size() < 2 ? nullptr : std::memchr(left.data(), 0xFF, left.size() - 1);
            if (found == nullptr)
                return scans;
            left = left.subspan(static_cast<std::size_t>(static_cast<const std::uint8_t*>(found) - left.data()) + 1);
            marker = left[0];
            if (marker != 0xFF)
                left = left.subspan(1);
        }
    }
    return scans;
}

} // namespace zel
