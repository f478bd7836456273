#pragma once
#include <zel/export.h>
#include <zel/platform/foundation/ref.h>

#include <filesystem>
#include <functional>

namespace zel {

/// A file's or a web address, or a relative one. Nothing here throws (but `std::bad_alloc`) or looks at files.
class ZEL_API URL {
public:
    /// Empty: names nothing.
    URL() = default;
    /// A file by its path; a relative path counts from the current folder, as it is now.
    static URL file(const std::filesystem::path& path);
    /// What begins with "/" is the path of a file, taken as it stands. "file:" addresses must have an empty host or
    /// "localhost". "http:" and "https:" need a host; like all other schemes they hold neither spaces nor control
    /// characters, and bytes above 127 become percent escapes. A text without a scheme is a relative address: no file,
    /// kept as written. Absent when empty or malformed.
    static std::optional<URL> parse(std::string_view text);
    /// Against a base address, as RFC 3986 section 5.2 tells; itself when it is not relative or the base is.
    URL resolved(const URL& against) const;

    bool isEmpty() const;
    bool isFile() const;
    /// Empty for what is no file.
    std::filesystem::path filePath() const;
    /// The path component, percent escapes decoded: bytes, usually UTF-8.
    std::string path() const;
    /// ASCII throughout, but for relative addresses. Files: "file:///a%20b.png".
    std::string absoluteString() const;

    friend bool operator==(const URL&, const URL&) = default;

private:
    explicit URL(std::string text) : text_(std::move(text)) {}
    std::string text_;
};

} // namespace zel

template <>
struct std::hash<zel::URL> {
    std::size_t operator()(const zel::URL& url) const { return std::hash<std::string>{}(url.absoluteString()); }
};
