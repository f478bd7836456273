// JSON texts: the first byte names the record. Only the coder's errors come out, and what was read and written once
// stays the same when it is read and written again.
#include "decode_checks.h"
#include "target.h"

#include <zel/zel.h>

#include <iterator>
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

/// No JSON, but text too.
void tryCube(std::string_view text)
{
    if (const auto picture = lutPicture(Data({text.begin(), text.end()})))
        fuzz::require(ZelLut::make(*picture).has_value(), "a table from what was taken for one");
}

/// By the first byte. Seeds and kept inputs name them: new ones come behind.
constexpr void (*records[])(std::string_view) = {
    tryRecord<Ref<ZelImage>>,
    tryRecord<ZelCanvas>,
    tryRecord<ZelWatermark>,
    tryRecord<ZelColor255>,
    tryRecord<ZelImage::KeyColor>,
    tryRecord<ZelLut>,
    tryCube,
    tryRecord<ZelImageHelper::ZelColorList>,
    tryRecord<ZelComposer::Layer>,
    tryRecord<ZelComposer>,
    tryRecord<Ref<ZelComposerManager>>,
    tryRecord<ZelCanvasLayer>,
    tryRecord<ZelCanvasLayer::Source>,
    tryRecord<ZelExif::BasicData>,
    tryRecord<ZelComposer::Guide>,
    tryRecord<ZelComposer::Layer::Text>,
    tryRecord<ZelComposer::SearchAndReplace>,
    tryRecord<ZelExif::BasicData::Coordinates>,
};

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size == 0)
        return 0;
    const ZelLimits::Scope scope(checks::tightLimits());
    const std::string_view text(reinterpret_cast<const char*>(data) + 1, size - 1);
    records[data[0] % std::size(records)](text);
    return 0;
}
