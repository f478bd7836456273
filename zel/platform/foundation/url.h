#pragma once
#include <zel/export.h>
#include <zel/platform/foundation/ref.h>

#include <filesystem>

namespace zel {

/// A file's or a web address. Parsing never throws.
class URL {
public:
    URL() = default;                                              ///< empty: names nothing
    static URL file(const std::filesystem::path& path);
    /// Absent when empty or malformed; a text without a scheme is a relative address: no file, kept as written.
    static std::optional<URL> parse(std::string_view text);
    URL resolved(const URL& against) const;                       ///< itself when it is not relative

    bool isEmpty() const;
    bool isFile() const;
    std::filesystem::path filePath() const;                       ///< empty for web addresses
    std::string path() const;                                     ///< the path component, percent escapes decoded
    std::string absoluteString() const;

    friend bool operator==(const URL&, const URL&) = default;

private:
    std::string text_;
};

} // namespace zel
