#pragma once
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>
#include <zel/export.h>

namespace zel {

class URL;

/// A shared object; null means absent.
template <class T>
using Ref = std::shared_ptr<T>;

/// Encoded bytes. (Not a bare vector: GCC 12 would take label structs for its list of elements.)
class ZEL_API Data {
public:
    Data() = default;
    explicit Data(std::vector<std::uint8_t> bytes) : bytes_(std::move(bytes)) {}
    const std::uint8_t* data() const { return bytes_.data(); }
    std::size_t size() const { return bytes_.size(); }
    bool empty() const { return bytes_.empty(); }
    std::span<const std::uint8_t> span() const { return bytes_; }
    /// The bytes of a regular file; absent, with the reason noted, for what is missing, cannot be read, is no regular
    /// file or is larger than `ZelLimits::inputBytes`.
    static std::optional<Data> read(const URL& file);
    /// Writes a regular file, whole or not at all: readers see the old bytes or these. The folder must be there. False,
    /// with the reason noted, where the file is as it was.
    bool write(const URL& file) const;
    friend bool operator==(const Data&, const Data&) = default;

private:
    std::vector<std::uint8_t> bytes_;
};

} // namespace zel
