#pragma once
#include <zel/export.h>
#include <zel/platform/foundation/ref.h>

#include <span>
#include <stdexcept>

namespace zel {

/// What the strict JSON decoders raise.
class ZelDecodingError : public std::runtime_error {
public:
    enum class Kind { keyNotFound, typeMismatch, valueNotFound, dataCorrupted };
    ZelDecodingError(Kind kind, std::string codingPath, const std::string& description);
    Kind kind() const;
    const std::string& codingPath() const; ///< "layerList[2].transform.scale.x"

private:
    Kind kind_;
    std::string codingPath_;
};

/// A value that has no JSON form, such as a number that is not finite.
class ZelEncodingError : public std::runtime_error {
public:
    ZelEncodingError(std::string codingPath, const std::string& description);
    const std::string& codingPath() const;

private:
    std::string codingPath_;
};

/// The JSON text of a record, keys in the stated order. Instantiated in the sources for every record that has a JSON
/// form.
template <class T>
std::string encode(const T& value);

/// The record of a JSON text; throws ZelDecodingError.
template <class T>
T decode(std::string_view text);

/// Enumerations with raw values: specialised beside each enumeration.
template <class E>
std::string_view rawValue(E value);
template <class E>
std::optional<E> fromRawValue(std::string_view text);
template <class E>
std::span<const E> allCases();
template <class E>
std::string displayName(E value);

} // namespace zel
