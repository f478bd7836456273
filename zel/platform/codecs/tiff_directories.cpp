#include <zel/platform/codecs/tiff_directories.h>

#include <algorithm>
#include <array>
#include <unordered_set>

// A directory is a count of entries, the entries, and the place of the next directory (TIFF 6.0 section 2). The 64-bit
// form has wider figures and entries of 20 bytes.
namespace zel::tiff {
namespace {

class Chain {
public:
    explicit Chain(const ByteSource& source) : source_(source)
    {
        std::array<std::uint8_t, 4> mark{};
        if (source.read(0, mark) < mark.size() || mark[0] != mark[1] || (mark[0] != 'I' && mark[0] != 'M'))
            return;
        bigEndian_ = mark[0] == 'M';
        const unsigned version = bigEndian_ ? mark[3] : mark[2];
        known_ = version == 42 || version == 43;
        wide_ = version == 43;
    }

    /// Where the first directory is said to lie; 0 for none.
    [[nodiscard]] std::optional<std::uint64_t> first() const
    {
        return known_ ? figure(wide_ ? 8 : 4, wide_ ? 8 : 4) : std::optional<std::uint64_t>(0);
    }
    /// Where the directory after the one at `place` is said to lie; absent where the file ends before it tells.
    [[nodiscard]] std::optional<std::uint64_t> after(std::uint64_t place) const
    {
        const std::size_t countBytes = wide_ ? 8 : 2, entryBytes = wide_ ? 20 : 12;
        const std::optional<std::uint64_t> entries = figure(place, countBytes);
        if (!entries || *entries > source_.size() / entryBytes)
            return std::nullopt;
        return figure(place + countBytes + *entries * entryBytes, wide_ ? 8 : 4);
    }

private:
    [[nodiscard]] std::optional<std::uint64_t> figure(std::uint64_t offset, std::size_t count) const
    {
        std::array<std::uint8_t, 8> bytes{};
        const std::span<std::uint8_t> wanted = std::span(bytes).first(count);
        if (offset > source_.size() || source_.read(offset, wanted) < count)
            return std::nullopt;
        if (!bigEndian_)
            std::reverse(wanted.begin(), wanted.end());
        std::uint64_t value = 0;
        for (const std::uint8_t byte : wanted)
            value = value << 8U | byte;
        return value;
    }

    const ByteSource& source_;
    bool known_ = false, wide_ = false, bigEndian_ = false;
};

} // namespace

Directories countDirectories(const ByteSource& source, int most)
{
    const Chain chain(source);
    Directories found;
    std::unordered_set<std::uint64_t> visited;
    std::optional<std::uint64_t> place = chain.first();
    while (place && *place != 0 && found.count < most && visited.insert(*place).second) {
        place = chain.after(*place);
        found.count += place ? 1 : 0;
    }
    found.endsEarly = !place;
    return found;
}

} // namespace zel::tiff
