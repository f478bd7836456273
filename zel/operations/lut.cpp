#include <zel/operations/filters.h>

#include <zel/platform/codecs/codec.h>
#include <zel/platform/filters/color_cube.h>
#include <zel/platform/foundation/byte_source.h>
#include <zel/platform/foundation/json_coding.h>
#include <zel/platform/foundation/notes.h>

namespace zel {

struct ZelLut::Filter {
    Ref<const engine::ColorCube> cube;
};

ZelLut::ZelLut(Undecoded data) : data_(std::move(data.data)) {}

std::optional<ZelLut> ZelLut::make(const Data& encoded)
{
    const Ref<const CGImage> picture = CGImage::make(openPicture(ByteSource::of(encoded)));
    if (!picture)
        return std::nullopt;
    ZelLut lut(Undecoded{encoded});
    {
        NotesOnTrial trial; // a table without a filter is a table all the same
        if (const auto cube = makeColorCube(picture)) {
            lut.filter_ = std::make_shared<const Filter>(Filter{cube});
            trial.keep();
        }
    }
    if (!lut.filter_)
        warn(ZelFailureCode::invalidArgument, "look-up table",
             "the picture makes no filter: it is not n wide and n x n high, n from 2 to 129, or does not decode");
    return lut;
}

std::optional<ZelLut> ZelLut::make(const URL& file)
{
    const std::optional<Data> bytes = Data::read(file);
    if (!bytes)
        return std::nullopt;
    const SubjectScope subject(file.filePath().string());
    return make(*bytes);
}

Ref<const CIImage> ZelLut::applyTo(const Ref<const CIImage>& image) const
{
    if (!image)
        return failAbsentInput("look-up table");
    if (!filter_)
        return fail(ZelFailureCode::invalidArgument, "look-up table",
                    "the table has no filter: its picture is not n wide and n x n high, or it comes from JSON");
    return cubed(image, filter_->cube);
}

const Data& ZelLut::data() const
{
    return data_;
}

template <>
struct JsonForm<ZelLut> {
    static OrderedJson write(const ZelLut& value, const JsonPath& path)
    {
        return JsonObject(path).field("data", value.data()).take();
    }
    static ZelLut read(const JsonReader& in) { return ZelLut(ZelLut::Undecoded{in.required<Data>("data")}); }
};

template <>
std::string encode(const ZelLut& value)
{
    return encodeJson(value);
}

template <>
ZelLut decode(std::string_view text)
{
    return decodeJson<ZelLut>(text);
}

} // namespace zel
