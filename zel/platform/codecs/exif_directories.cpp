#include <zel/platform/codecs/exif_directories.h>

#include <algorithm>
#include <array>

namespace zel {
namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::size_t mostEntries = 512;     ///< of a directory
constexpr std::size_t mostValueBytes = 4096; ///< of an entry
constexpr std::size_t mostBlockBytes = 60'000;
constexpr std::size_t entryBytes = 12;

enum Tag : unsigned {
    stripOffsets = 0x0111,
    stripByteCounts = 0x0117,
    tileOffsets = 0x0144,
    tileByteCounts = 0x0145,
    subDirectories = 0x014A,
    jpegTables = 0x015B,
    xmp = 0x02BC,
    profile = 0x8773,
    exifDirectory = 0x8769,
    gpsDirectory = 0x8825,
    makerNote = 0x927C,
};
constexpr std::array<unsigned, 9> leftOut = {
    stripOffsets, stripByteCounts, tileOffsets, tileByteCounts, subDirectories, jpegTables, xmp, profile, makerNote};

/// By TIFF's type number, 1 to 12.
constexpr std::array<std::size_t, 13> valueBytes = {0, 1, 1, 2, 4, 8, 1, 1, 2, 4, 8, 4, 8};

struct Entry {
    std::array<std::uint8_t, 8> head{}; ///< tag, type and count as they lie in the file
    unsigned tag = 0;
    Bytes value;
};
using Directory = std::vector<Entry>;

class TiffReader {
public:
    explicit TiffReader(const ByteSource& source) : source_(source)
    {
        std::array<std::uint8_t, 8> head{};
        if (source.read(0, head) == head.size()) {
            bigEndian_ = head[0] == 'M';
            first_ = number(head.data() + 4, 4);
        }
    }
    [[nodiscard]] std::uint32_t first() const { return first_; }
    [[nodiscard]] bool bigEndian() const { return bigEndian_; }

    [[nodiscard]] std::uint32_t number(const std::uint8_t* bytes, std::size_t count) const
    {
        std::uint32_t value = 0;
        for (std::size_t i = 0; i < count; ++i)
            value = value << 8U | bytes[bigEndian_ ? i : count - 1 - i];
        return value;
    }

    [[nodiscard]] Directory directory(std::uint32_t offset) const
    {
        Directory entries;
        std::array<std::uint8_t, 2> count{};
        if (offset < 8 || source_.read(offset, count) != count.size())
            return entries;
        Bytes bytes(std::min<std::size_t>(number(count.data(), 2), mostEntries) * entryBytes);
        bytes.resize(source_.read(std::uint64_t{offset} + 2, bytes));
        for (std::size_t place = 0; place + entryBytes <= bytes.size(); place += entryBytes)
            if (auto entry = entryAt(bytes.data() + place))
                entries.push_back(std::move(*entry));
        return entries;
    }

private:
    [[nodiscard]] std::optional<Entry> entryAt(const std::uint8_t* bytes) const
    {
        Entry entry;
        std::copy_n(bytes, entry.head.size(), entry.head.begin());
        entry.tag = number(bytes, 2);
        const std::size_t type = number(bytes + 2, 2), count = number(bytes + 4, 4);
        if (std::find(leftOut.begin(), leftOut.end(), entry.tag) != leftOut.end() || type == 0 ||
            type >= valueBytes.size() || count > mostValueBytes / valueBytes[type])
            return std::nullopt;
        const std::size_t size = count * valueBytes[type];
        if (size <= 4) {
            entry.value.assign(bytes + 8, bytes + 12);
            return entry;
        }
        entry.value.resize(size);
        if (source_.read(number(bytes + 8, 4), entry.value) != size)
            return std::nullopt;
        return entry;
    }

    const ByteSource& source_;
    bool bigEndian_ = false;
    std::uint32_t first_ = 0;
};

class BlockWriter {
public:
    explicit BlockWriter(bool bigEndian) : bigEndian_(bigEndian)
    {
        const char mark = bigEndian ? 'M' : 'I';
        block_ = {static_cast<std::uint8_t>(mark), static_cast<std::uint8_t>(mark)};
        append(42, 2);
        append(8, 4);
    }
    [[nodiscard]] std::size_t size() const { return block_.size(); }

    /// Writes a directory at the end; gives the place of the value of each entry with one of the two tags that point at
    /// another directory.
    void add(const Directory& entries)
    {
        append(static_cast<std::uint32_t>(entries.size()), 2);
        const std::size_t table = block_.size();
        block_.resize(table + entries.size() * entryBytes + 4);
        for (std::size_t i = 0; i < entries.size(); ++i) {
            const Entry& entry = entries[i];
            const std::size_t place = table + i * entryBytes;
            std::copy(entry.head.begin(), entry.head.end(), at(place));
            if (entry.value.size() <= 4) {
                std::copy(entry.value.begin(), entry.value.end(), at(place + 8));
            } else {
                put(place + 8, static_cast<std::uint32_t>(block_.size()), 4);
                block_.insert(block_.end(), entry.value.begin(), entry.value.end());
                if (block_.size() % 2 != 0)
                    block_.push_back(0);
            }
            if (entry.tag == exifDirectory || entry.tag == gpsDirectory)
                pointers_.push_back({entry.tag, place + 8});
        }
    }
    /// The next directory that is added is the one that an entry of this tag points at.
    void pointHere(unsigned tag)
    {
        for (const auto& [known, place] : pointers_)
            if (known == tag)
                put(place, static_cast<std::uint32_t>(block_.size()), 4);
    }
    [[nodiscard]] Bytes take() { return std::move(block_); }

private:
    [[nodiscard]] Bytes::iterator at(std::size_t place) { return block_.begin() + static_cast<std::ptrdiff_t>(place); }
    void put(std::size_t place, std::uint32_t value, std::size_t count)
    {
        for (std::size_t i = 0; i < count; ++i)
            block_[place + (bigEndian_ ? count - 1 - i : i)] = static_cast<std::uint8_t>(value >> (8 * i));
    }
    void append(std::uint32_t value, std::size_t count)
    {
        block_.resize(block_.size() + count);
        put(block_.size() - count, value, count);
    }

    Bytes block_;
    bool bigEndian_;
    std::vector<std::pair<unsigned, std::size_t>> pointers_;
};

std::size_t writtenBytes(const Directory& entries)
{
    std::size_t sum = 6;
    for (const Entry& entry : entries)
        sum += entryBytes + (entry.value.size() > 4 ? entry.value.size() + 1 : 0);
    return sum;
}

/// Entries are dropped from the end where the block would become too long.
void shorten(Directory& entries, std::size_t room)
{
    while (!entries.empty() && writtenBytes(entries) > room)
        entries.pop_back();
}

} // namespace

std::vector<std::uint8_t> gatherDirectories(const ByteSource& source)
{
    const TiffReader tiff(source);
    Directory main = tiff.directory(tiff.first());
    if (main.empty())
        return {};
    shorten(main, mostBlockBytes / 3);
    BlockWriter block(tiff.bigEndian());
    block.add(main);
    for (const Entry& entry : main) {
        if ((entry.tag != exifDirectory && entry.tag != gpsDirectory) || entry.value.size() != 4)
            continue;
        Directory further = tiff.directory(tiff.number(entry.value.data(), 4));
        // A directory of this kind points at no other: what does would only lead in circles.
        std::erase_if(further, [](const Entry& e) { return e.tag == exifDirectory || e.tag == gpsDirectory; });
        shorten(further, mostBlockBytes / 3);
        block.pointHere(entry.tag);
        block.add(further);
    }
    return block.take();
}

} // namespace zel
