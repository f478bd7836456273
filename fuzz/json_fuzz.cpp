// JSON texts: the first byte names the record. Only the coder's errors come out, and what was read and written once
// stays the same when it is read and written again.
#include "decode_checks.h"
#include "target.h"

#include <zel/zel.h>

#include <optional>

namespace {

using namespace zel;

/// Absent where the text is no such record, or the record has no JSON form.
template <class Record>
std::optional<std::string> writtenAgain(std::string_view text)
{
    try {
        return encode<Record>(decode<Record>(text));
    } catch (const ZelDecodingError&) {
        return std::nullopt;
    } catch (const ZelEncodingError&) {
        return std::nullopt;
    }
}

template <class Record>
void tryRecord(std::string_view text)
{
    const std::optional<std::string> once = writtenAgain<Record>(text);
    if (once)
        fuzz::require(writtenAgain<Record>(*once) == once, "the same text when it is read and written again");
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size == 0)
        return 0;
    const ZelLimits::Scope scope(checks::tightLimits());
    const std::string_view text(reinterpret_cast<const char*>(data) + 1, size - 1);
    switch (data[0] % 11) {
    case 0:
        tryRecord<Ref<ZelImage>>(text);
        break;
    case 1:
        tryRecord<ZelCanvas>(text);
        break;
    case 2:
        tryRecord<ZelWatermark>(text);
        break;
    case 3:
        tryRecord<ZelColor255>(text);
        break;
    case 4:
        tryRecord<ZelImage::KeyColor>(text);
        break;
    case 5:
        tryRecord<ZelLut>(text);
        break;
    case 6: // no JSON, but text too: a colour cube
        if (const auto picture = lutPicture(Data({text.begin(), text.end()})))
            fuzz::require(ZelLut::make(*picture).has_value(), "a table from what was taken for one");
        break;
    case 7:
        tryRecord<ZelImageHelper::ZelColorList>(text);
        break;
    case 8:
        tryRecord<ZelComposer::Layer>(text);
        break;
    case 9:
        tryRecord<ZelComposer>(text);
        break;
    default:
        tryRecord<ZelExif::BasicData>(text);
    }
    return 0;
}
