#pragma once
#include <zel/export.h>
#include <zel/platform/foundation/ref.h>

#include <array>
#include <span>
#include <stdexcept>

namespace zel {

/// What the strict JSON decoders raise; `what()` is the description.
class ZEL_API ZelDecodingError : public std::runtime_error {
public:
    enum class Kind {
        keyNotFound,   ///< a required key is missing; the path ends with it
        typeMismatch,  ///< a value of another type than the field's
        valueNotFound, ///< null, or an array that ends too early, where a value is required
        dataCorrupted, ///< no JSON, past a limit, or a value that the field cannot have
    };
    ZelDecodingError(Kind kind, std::string codingPath, const std::string& description);
    Kind kind() const;
    const std::string& codingPath() const; ///< "layerList[2].transform.scale.x"; empty for the whole text

private:
    Kind kind_;
    std::string codingPath_;
};

/// A value that has no JSON form, such as a number that is not finite.
class ZEL_API ZelEncodingError : public std::runtime_error {
public:
    ZelEncodingError(std::string codingPath, const std::string& description);
    const std::string& codingPath() const;

private:
    std::string codingPath_;
};

/// The JSON text of a record, UTF-8, on one line, keys in the stated order; throws ZelEncodingError. Specialised for
/// every record that has a JSON form.
template <class T>
std::string encode(const T& value);

/// The record of a JSON text; throws ZelDecodingError. Unknown keys are passed over; of a key that comes twice the last
/// one counts; texts past `ZelLimits::jsonBytes` or nested deeper than `jsonDepth` are refused.
template <class T>
T decode(std::string_view text);

/// A case of an enumeration with raw values, as its table lists it.
template <class E>
struct EnumCase {
    E value;
    std::string_view raw;
    std::string_view display = {}; ///< the raw value when empty
};

/// The table of an enumeration, in declaration order. Specialised beside each enumeration, it serves the four functions
/// below and the JSON form:
/// `template <> inline constexpr auto enumCases<Side> = std::to_array<EnumCase<Side>>({{Side::left, "left", "Left"}});`
template <class E>
inline constexpr std::array<EnumCase<E>, 0> enumCases = {};

/// The raw value of a case; empty for a number that is no case.
template <class E>
constexpr std::string_view rawValue(E value)
{
    for (const EnumCase<E>& row : enumCases<E>)
        if (row.value == value)
            return row.raw;
    return {};
}

/// The case of a raw value, letter for letter.
template <class E>
constexpr std::optional<E> fromRawValue(std::string_view text)
{
    for (const EnumCase<E>& row : enumCases<E>)
        if (row.raw == text)
            return row.value;
    return std::nullopt;
}

/// The cases of the table alone.
template <class E>
inline constexpr auto enumValues = [] {
    std::array<E, enumCases<E>.size()> values{};
    for (std::size_t i = 0; i < values.size(); ++i)
        values[i] = enumCases<E>[i].value;
    return values;
}();

/// All cases in declaration order.
template <class E>
constexpr std::span<const E> allCases()
{
    return enumValues<E>;
}

/// What people are shown for a case; empty for a number that is no case.
template <class E>
std::string displayName(E value)
{
    for (const EnumCase<E>& row : enumCases<E>)
        if (row.value == value)
            return std::string(row.display.empty() ? row.raw : row.display);
    return {};
}

} // namespace zel
