#include <zel/platform/foundation/percent.h>

namespace zel {
namespace {

constexpr std::string_view digits = "0123456789ABCDEF";

// RFC 3986 section 2.3; independent of the locale.
bool isUnreserved(char byte)
{
    return (byte >= 'a' && byte <= 'z') || (byte >= 'A' && byte <= 'Z') || (byte >= '0' && byte <= '9') ||
           byte == '-' || byte == '.' || byte == '_' || byte == '~';
}

int valueOf(char digit)
{
    if (digit >= 'a' && digit <= 'f')
        return digit - 'a' + 10;
    const std::size_t at = digits.find(digit);
    return at == std::string_view::npos ? -1 : static_cast<int>(at);
}

} // namespace

std::string percentEncoded(std::string_view bytes, std::string_view kept)
{
    std::string text;
    text.reserve(bytes.size());
    for (const char byte : bytes) {
        if (isUnreserved(byte) || kept.find(byte) != std::string_view::npos) {
            text += byte;
            continue;
        }
        const auto value = static_cast<unsigned char>(byte);
        text += '%';
        text += digits[value >> 4];
        text += digits[value & 15];
    }
    return text;
}

std::optional<std::string> percentDecoded(std::string_view text)
{
    std::string bytes;
    bytes.reserve(text.size());
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (text[at] != '%') {
            bytes += text[at];
            continue;
        }
        if (text.size() - at < 3)
            return std::nullopt;
        const int high = valueOf(text[at + 1]), low = valueOf(text[at + 2]);
        if (high < 0 || low < 0)
            return std::nullopt;
        bytes += static_cast<char>(high * 16 + low);
        at += 2;
    }
    return bytes;
}

} // namespace zel
