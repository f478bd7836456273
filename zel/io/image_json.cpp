#include <zel/io/encode.h>

#include <zel/platform/foundation/json_coding.h>

namespace zel {

template <>
struct JsonForm<ZelImageMetadata::Item> {
    static OrderedJson write(const ZelImageMetadata::Item& value, const JsonPath& path)
    {
        return JsonObject(path).field("key", value.key).field("value", value.value).take();
    }
    static ZelImageMetadata::Item read(const JsonReader& in)
    {
        return {.key = in.required<std::string>("key"), .value = in.required<std::string>("value")};
    }
};

template <>
struct JsonForm<ZelImageMetadata> {
    static OrderedJson write(const ZelImageMetadata& value, const JsonPath& path)
    {
        return JsonObject(path).field("metadata", value.metadata).take();
    }
    static ZelImageMetadata read(const JsonReader& in)
    {
        return {.metadata = in.required<std::vector<ZelImageMetadata::Item>>("metadata")};
    }
};

template <>
struct JsonForm<Ref<ZelImage>> {
    static OrderedJson write(const Ref<ZelImage>& image, const JsonPath& path)
    {
        if (!image)
            throw ZelEncodingError(path.text(), "there is no image to encode");
        return JsonObject(path)
            .field("id", image->id)
            .field("size", image->size)
            .field("metadata", image->metadata)
            .nullableField("imageData", pngData(image))
            .take();
    }
    static Ref<ZelImage> read(const JsonReader& in)
    {
        const std::string id = in.required<std::string>("id");
        const Data bytes = in.required<Data>("imageData");
        const CGSize size = in.required<CGSize>("size");
        const ZelImageMetadata metadata = in.required<ZelImageMetadata>("metadata");
        const Ref<ZelImage> image = makeZelImage(NSImage::make(bytes));
        if (!image)
            throw ZelDecodingError(ZelDecodingError::Kind::dataCorrupted, in.path().key("imageData").text(),
                                   "Impossibile creare NSImage dai dati");
        image->id = id;
        image->size = size;
        image->metadata = metadata;
        return image;
    }
};

template <>
std::string encode(const Ref<ZelImage>& image)
{
    return encodeJson(image);
}

template <>
Ref<ZelImage> decode(std::string_view text)
{
    return decodeJson<Ref<ZelImage>>(text, JsonSize::picture);
}

} // namespace zel
