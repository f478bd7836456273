#include <zel/platform/foundation/url.h>
#include <zel/platform/foundation/percent.h>

#include <algorithm>
#include <charconv>

// An address is kept as its canonical text and split when asked, by the grammar of RFC 3986. The splitter is small and
// strict; what is sent over a network is parsed again by the library that sends it.
namespace zel {
namespace {

constexpr std::string_view filePrefix = "file://";
// What a path may hold unescaped besides unreserved characters (RFC 3986 section 3.3).
constexpr std::string_view pathCharacters = "/:@!$&'()*+,;=";

struct Parts {
    std::string_view scheme; ///< without ":"; empty for relative addresses
    std::string_view authority;
    std::string_view path;
    std::string_view query;    ///< with "?", or empty
    std::string_view fragment; ///< with "#", or empty
    bool hasAuthority = false;
};

bool isLetter(char byte)
{
    return (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z');
}
bool isDigit(char byte)
{
    return byte >= '0' && byte <= '9';
}
bool isControl(char byte)
{
    return static_cast<unsigned char>(byte) < 0x20 || byte == 0x7F;
}

bool sameText(std::string_view text, std::string_view lower)
{
    return std::equal(text.begin(), text.end(), lower.begin(), lower.end(), [](char a, char b) {
        return (a >= 'A' && a <= 'Z' ? static_cast<char>(a + ('a' - 'A')) : a) == b;
    });
}

std::string_view schemeOf(std::string_view text)
{
    const std::size_t colon = text.find_first_of(":/?#");
    if (colon == std::string_view::npos || colon == 0 || text[colon] != ':' || !isLetter(text[0]))
        return {};
    const std::string_view scheme = text.substr(0, colon);
    const bool valid = std::all_of(scheme.begin(), scheme.end(), [](char byte) {
        return isLetter(byte) || isDigit(byte) || byte == '+' || byte == '-' || byte == '.';
    });
    return valid ? scheme : std::string_view{};
}

Parts split(std::string_view text)
{
    Parts parts;
    parts.scheme = schemeOf(text);
    if (!parts.scheme.empty())
        text.remove_prefix(parts.scheme.size() + 1);
    if (const std::size_t hash = text.find('#'); hash != std::string_view::npos) {
        parts.fragment = text.substr(hash);
        text = text.substr(0, hash);
    }
    if (const std::size_t mark = text.find('?'); mark != std::string_view::npos) {
        parts.query = text.substr(mark);
        text = text.substr(0, mark);
    }
    if (!parts.scheme.empty() && text.starts_with("//")) {
        text.remove_prefix(2);
        parts.hasAuthority = true;
        parts.authority = text.substr(0, text.find('/'));
        text.remove_prefix(parts.authority.size());
    }
    parts.path = text;
    return parts;
}

bool isPort(std::string_view text)
{
    unsigned port = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), port);
    return text.empty() || (error == std::errc{} && end == text.data() + text.size() && port <= 65'535);
}

bool isHost(std::string_view text)
{
    if (text.starts_with('[')) {
        const std::string_view inner = text.substr(1, text.size() - 2);
        return text.ends_with(']') && inner.size() >= 2 && std::all_of(inner.begin(), inner.end(), [](char byte) {
                   return isDigit(byte) || isLetter(byte) || byte == ':' || byte == '.';
               });
    }
    return !text.empty() && std::all_of(text.begin(), text.end(), [](char byte) {
        return isLetter(byte) || isDigit(byte) ||
               std::string_view("-._~%!$&'()*+,;=").find(byte) != std::string_view::npos;
    });
}

bool isWebAuthority(std::string_view authority)
{
    if (const std::size_t at = authority.rfind('@'); at != std::string_view::npos)
        authority.remove_prefix(at + 1);
    const std::size_t colon = authority.rfind(':');
    const bool hasPort = colon != std::string_view::npos && authority.find(']', colon) == std::string_view::npos;
    return isHost(authority.substr(0, hasPort ? colon : authority.size())) &&
           (!hasPort || isPort(authority.substr(colon + 1)));
}

// What no address may hold unescaped, be it only because the next program reads it as the address's end.
bool isForbidden(char byte)
{
    return isControl(byte) || std::string_view(" \"<>\\^`{|}").find(byte) != std::string_view::npos;
}

std::string textOfPath(std::string_view path)
{
    return std::string(filePrefix) + percentEncoded(path, pathCharacters);
}

std::optional<std::string> pathOfFileAddress(const Parts& parts)
{
    if (!parts.authority.empty() && !sameText(parts.authority, "localhost"))
        return std::nullopt;
    std::optional<std::string> path = percentDecoded(parts.path);
    if (!path || !path->starts_with('/') || path->find('\0') != std::string::npos)
        return std::nullopt;
    return path;
}

// RFC 3986 section 5.2.4, a segment at a time.
std::string withoutDots(std::string_view path)
{
    std::string result;
    while (!path.empty()) {
        const std::size_t end = path.find('/', 1);
        const std::string_view segment = path.substr(0, end);
        path.remove_prefix(segment.size());
        const std::string_view name = segment.starts_with('/') ? segment.substr(1) : segment;
        if (name != "." && name != "..") {
            result += segment;
            continue;
        }
        if (name == "..")
            result.erase(std::min(result.rfind('/'), result.size()));
        if (path.empty())
            result += '/';
    }
    return result;
}

// Escapes that are none become the text that they are; whatever else an address may not hold is escaped.
std::string repaired(std::string_view text)
{
    std::string result;
    for (std::size_t at = 0; at < text.size(); ++at) {
        const char byte = text[at];
        const bool strayPercent = byte == '%' && !percentDecoded(text.substr(at, 3)).has_value();
        if (strayPercent || isForbidden(byte) || static_cast<unsigned char>(byte) > 0x7F)
            result += percentEncoded(text.substr(at, 1));
        else
            result += byte;
    }
    return result;
}

} // namespace

URL URL::file(const std::filesystem::path& path)
{
    // The system would take a path with a NUL for a shorter one.
    if (path.empty() || path.native().find('\0') != std::string::npos)
        return {};
    std::error_code error;
    const std::filesystem::path absolute = std::filesystem::absolute(path, error);
    return URL(textOfPath(error ? path.native() : absolute.native()));
}

std::optional<URL> URL::parse(std::string_view text)
{
    if (text.empty() || std::any_of(text.begin(), text.end(), isControl))
        return std::nullopt;
    if (text.starts_with('/'))
        return URL(textOfPath(text));
    const Parts parts = split(text);
    if (parts.scheme.empty())
        return URL(std::string(text));
    if (sameText(parts.scheme, "file")) {
        const std::optional<std::string> path = pathOfFileAddress(parts);
        return path ? std::optional(URL(textOfPath(*path))) : std::nullopt;
    }
    if (std::any_of(text.begin(), text.end(), isForbidden) || !percentDecoded(text))
        return std::nullopt;
    const bool isWeb = sameText(parts.scheme, "http") || sameText(parts.scheme, "https");
    if (isWeb && (!parts.hasAuthority || !isWebAuthority(parts.authority)))
        return std::nullopt;
    return URL(repaired(text));
}

URL URL::resolved(const URL& against) const
{
    const Parts own = split(text_), base = split(against.text_);
    if (!own.scheme.empty() || base.scheme.empty())
        return *this;
    std::string path;
    std::string_view query = own.query;
    if (own.path.empty()) {
        path = base.path;
        if (query.empty())
            query = base.query;
    } else {
        // A base with a host and no path stands for its root.
        const std::size_t slash = base.path.rfind('/');
        const std::string_view folder = base.path.empty() && base.hasAuthority
                                            ? "/"
                                            : base.path.substr(0, slash == std::string_view::npos ? 0 : slash + 1);
        path = withoutDots(std::string(folder) + repaired(own.path));
    }
    if (against.isFile()) {
        const std::optional<std::string> decoded = percentDecoded(path);
        return decoded && decoded->find('\0') == std::string::npos ? URL(textOfPath(*decoded)) : *this;
    }
    std::string text(base.scheme);
    text += ':';
    if (base.hasAuthority)
        (text += "//") += base.authority;
    return URL(text + path + repaired(query) + repaired(own.fragment));
}

bool URL::isEmpty() const
{
    return text_.empty();
}
// Only canonical texts are ever kept.
bool URL::isFile() const
{
    return text_.starts_with(filePrefix);
}

std::filesystem::path URL::filePath() const
{
    return isFile() ? std::filesystem::path(path()) : std::filesystem::path{};
}

std::string URL::path() const
{
    const std::string_view encoded = split(text_).path;
    return percentDecoded(encoded).value_or(std::string(encoded));
}

std::string URL::absoluteString() const
{
    return text_;
}

} // namespace zel
