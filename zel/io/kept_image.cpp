#include <zel/io/kept_image.h>

#include <zel/platform/foundation/notes.h>

#include <algorithm>
#include <array>
#include <vector>

namespace zel {
namespace {

struct Marks {
    std::vector<std::uint8_t> first, last;
};

/// False for PNG and JPEG files that do not end as such files do.
bool isWhole(const Data& bytes)
{
    static const std::array<Marks, 2> all = {{
        {{0x89, 'P', 'N', 'G'}, {'I', 'E', 'N', 'D', 0xAE, 0x42, 0x60, 0x82}},
        {{0xFF, 0xD8, 0xFF}, {0xFF, 0xD9}},
    }};
    const auto span = bytes.span();
    return std::none_of(all.begin(), all.end(), [span](const Marks& marks) {
        const auto& [first, last] = marks;
        const bool begins = span.size() >= first.size() && std::equal(first.begin(), first.end(), span.begin());
        return begins && !(span.size() >= last.size() && std::equal(last.rbegin(), last.rend(), span.rbegin()));
    });
}

} // namespace

Ref<ZelImage> keptImage(const URL& file)
{
    const NotesOnTrial silent;
    const auto bytes = file.isEmpty() ? std::nullopt : Data::read(file);
    return bytes && isWhole(*bytes) ? makeZelImage(*bytes) : nullptr;
}

} // namespace zel
