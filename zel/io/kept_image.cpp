#include <zel/io/kept_image.h>

#include <zel/platform/foundation/notes.h>

#include <algorithm>
#include <array>

namespace zel {
namespace {

bool isWhole(const Data& bytes)
{
    constexpr std::array<std::uint8_t, 8> pngEnd = {'I', 'E', 'N', 'D', 0xAE, 0x42, 0x60, 0x82};
    constexpr std::array<std::uint8_t, 2> jpegEnd = {0xFF, 0xD9};
    const auto endsWith = [&bytes](auto& end) {
        return bytes.size() >= end.size() && std::equal(end.rbegin(), end.rend(), bytes.span().rbegin());
    };
    return endsWith(pngEnd) || endsWith(jpegEnd);
}

} // namespace

Ref<ZelImage> keptImage(const URL& file)
{
    const NotesOnTrial silent;
    const auto bytes = file.isEmpty() ? std::nullopt : Data::read(file);
    return bytes && isWhole(*bytes) ? makeZelImage(*bytes) : nullptr;
}

} // namespace zel
