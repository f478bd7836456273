#pragma once
#include <zel/platform/foundation/coding.h>
#include <zel/platform/foundation/geometry.h>
#include <zel/platform/foundation/url.h>

#include <nlohmann/json.hpp>

#include <concepts>
#include <limits>
#include <type_traits>

// How records are written as JSON and read back. For the sources of records only: a record says what its fields are,
// once for each direction, and `encodeJson` and `decodeJson` do the rest:
//
//     template <>
//     struct JsonForm<Transform> {
//         static OrderedJson write(const Transform& value, const JsonPath& path)
//         {
//             return JsonObject(path).field("position", value.position).field("scale", value.scale).take();
//         }
//         static Transform read(const JsonReader& in)
//         {
//             return {.position = in.required<CGPoint>("position"), .scale = in.lenient<double>("scale", 1.0)};
//         }
//     };
namespace zel {

using Json = nlohmann::json;                ///< what is read: keys are found quickly, however many there are
using OrderedJson = nlohmann::ordered_json; ///< what is written: keys stay in the order in which they are added

/// A place in a document. Refers to the place around it, so it lives no longer than that.
class JsonPath {
public:
    JsonPath() = default;
    [[nodiscard]] JsonPath key(std::string_view name) const;
    [[nodiscard]] JsonPath index(std::size_t number) const;
    [[nodiscard]] std::string text() const; ///< "layerList[2].name"

private:
    const JsonPath* outer_ = nullptr;
    std::string_view key_;
    std::size_t index_ = 0;
    bool isIndex_ = false;
};

/// The JSON form of a type: `write(value, path)` throws ZelEncodingError, `read(reader)` ZelDecodingError.
template <class T>
struct JsonForm;

/// A value of a document that is being read, and its place.
class JsonReader {
public:
    JsonReader(const Json& value, JsonPath path) : value_(value), path_(path) {}
    [[nodiscard]] const Json& value() const { return value_; }
    [[nodiscard]] const JsonPath& path() const { return path_; }

    /// A field that must be there. Missing: keyNotFound; null: valueNotFound.
    template <class T>
    [[nodiscard]] T required(std::string_view key) const
    {
        const JsonReader field(requiredValue(key), path_.key(key));
        return JsonForm<T>::read(field);
    }
    /// A field that may be missing or null; what is there must be right.
    template <class T>
    [[nodiscard]] std::optional<T> optional(std::string_view key) const
    {
        const Json* found = find(key);
        if (found == nullptr || found->is_null())
            return std::nullopt;
        return JsonForm<T>::read(JsonReader(*found, path_.key(key)));
    }
    /// A field that is replaced, without a word, where it is missing, null, or cannot be read: by a value, or by what a
    /// function makes. Only a record that is no object at all is an error.
    template <class T, class Fallback>
    [[nodiscard]] T lenient(std::string_view key, Fallback fallback) const
    {
        const Json* found = find(key);
        if (found != nullptr && !found->is_null()) {
            try {
                return JsonForm<T>::read(JsonReader(*found, path_.key(key)));
            } catch (const ZelDecodingError&) { // NOLINT(bugprone-empty-catch): that is what lenient means
            }
        }
        if constexpr (std::is_invocable_v<Fallback>)
            return fallback();
        else
            return fallback;
    }

    [[noreturn]] void mistyped(std::string_view expected) const;
    [[noreturn]] void corrupted(const std::string& description) const;

private:
    /// Null when missing; typeMismatch where this is no object.
    [[nodiscard]] const Json* find(std::string_view key) const;
    [[nodiscard]] const Json& requiredValue(std::string_view key) const;

    const Json& value_;
    JsonPath path_;
};

/// Puts together the object of a record, keys in the order of the calls.
class JsonObject {
public:
    explicit JsonObject(const JsonPath& path) : path_(path) {}
    template <class T>
    JsonObject& field(std::string_view key, const T& value)
    {
        object_.emplace(std::string(key), JsonForm<T>::write(value, path_.key(key)));
        return *this;
    }
    /// Left out where there is no value.
    template <class T>
    JsonObject& optionalField(std::string_view key, const std::optional<T>& value)
    {
        return value ? field(key, *value) : *this;
    }
    /// Null where there is no value.
    template <class T>
    JsonObject& nullableField(std::string_view key, const std::optional<T>& value)
    {
        if (value)
            return field(key, *value);
        object_.emplace(std::string(key), nullptr);
        return *this;
    }
    [[nodiscard]] OrderedJson take() { return std::move(object_); }

private:
    const JsonPath& path_;
    OrderedJson object_ = OrderedJson::object();
};

/// What the text of a picture may have beyond `ZelLimits::jsonBytes`, its pixels being part of it.
enum class JsonSize : std::uint64_t { document = 1, picture = 8 };

/// Parsed within the limits; throws ZelDecodingError.
Json parseJson(std::string_view text, JsonSize size = JsonSize::document);
/// Throws ZelEncodingError.
std::string jsonText(const OrderedJson& value);

template <class T>
std::string encodeJson(const T& value)
{
    return jsonText(JsonForm<T>::write(value, JsonPath()));
}

template <class T>
T decodeJson(std::string_view text, JsonSize size = JsonSize::document)
{
    const Json json = parseJson(text, size);
    return JsonForm<T>::read(JsonReader(json, JsonPath()));
}

template <>
struct JsonForm<bool> {
    static OrderedJson write(bool value, const JsonPath&) { return value; }
    static bool read(const JsonReader& in);
};

template <>
struct JsonForm<double> {
    static OrderedJson write(double value, const JsonPath& path);
    static double read(const JsonReader& in);
};

/// A whole number; 3.0 counts as 3.
std::int64_t readInteger(const JsonReader& in, std::int64_t low, std::int64_t high);

template <std::signed_integral T>
struct JsonForm<T> {
    static OrderedJson write(T value, const JsonPath&) { return value; }
    static T read(const JsonReader& in)
    {
        return static_cast<T>(readInteger(in, std::numeric_limits<T>::min(), std::numeric_limits<T>::max()));
    }
};

template <>
struct JsonForm<std::uint8_t> {
    static OrderedJson write(std::uint8_t value, const JsonPath&) { return value; }
    static std::uint8_t read(const JsonReader& in) { return static_cast<std::uint8_t>(readInteger(in, 0, 255)); }
};

template <>
struct JsonForm<std::string> {
    static OrderedJson write(const std::string& value, const JsonPath& path);
    static std::string read(const JsonReader& in);
};

template <>
struct JsonForm<URL> {
    static OrderedJson write(const URL& value, const JsonPath& path);
    static URL read(const JsonReader& in);
};

/// Base-64 text.
template <>
struct JsonForm<Data> {
    static OrderedJson write(const Data& value, const JsonPath& path);
    static Data read(const JsonReader& in);
};

/// [x, y]
template <>
struct JsonForm<CGPoint> {
    static OrderedJson write(const CGPoint& value, const JsonPath& path);
    static CGPoint read(const JsonReader& in);
};

/// [width, height]
template <>
struct JsonForm<CGSize> {
    static OrderedJson write(const CGSize& value, const JsonPath& path);
    static CGSize read(const JsonReader& in);
};

/// By raw value, for enumerations that have a table.
template <class E>
requires std::is_enum_v<E>
struct JsonForm<E> {
    static OrderedJson write(E value, const JsonPath&) { return std::string(rawValue(value)); }
    static E read(const JsonReader& in)
    {
        const std::string raw = JsonForm<std::string>::read(in);
        const std::optional<E> value = fromRawValue<E>(raw);
        if (!value)
            in.corrupted("\"" + raw + "\" is none of the values");
        return *value;
    }
};

template <class T>
struct JsonForm<std::vector<T>> {
    static OrderedJson write(const std::vector<T>& list, const JsonPath& path)
    {
        OrderedJson array = OrderedJson::array();
        for (std::size_t i = 0; i < list.size(); ++i)
            array.push_back(JsonForm<T>::write(list[i], path.index(i)));
        return array;
    }
    static std::vector<T> read(const JsonReader& in)
    {
        if (!in.value().is_array())
            in.mistyped("an array");
        std::vector<T> list;
        list.reserve(in.value().size());
        for (std::size_t i = 0; i < in.value().size(); ++i)
            list.push_back(readElement(JsonReader(in.value()[i], in.path().index(i))));
        return list;
    }

private:
    static T readElement(const JsonReader& in)
    {
        if (in.value().is_null())
            throw ZelDecodingError(ZelDecodingError::Kind::valueNotFound, in.path().text(), "null in place of a value");
        return JsonForm<T>::read(in);
    }
};

} // namespace zel
