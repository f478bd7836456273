#include <zel/platform/foundation/replace_text.h>
#include <zel/platform/foundation/utf8.h>

#include <utf8proc.h>
#include <vector>

// The search of Knuth, Morris and Pratt over folded characters: hostile texts such as "aaaa" in "aaaa…" cost no more
// than others. Folding may change a character's bytes, so places are kept in bytes of the text as it is.
namespace zel {
namespace {

constexpr char32_t dottedCapitalI = 0x130; // folds in Turkic texts alone; its lower case is a plain i
constexpr char32_t noCharacter = 0x110000; // and up: a byte that is no UTF-8

/// Where full folding would give several characters, simple folding gives the lower case, or the character itself.
char32_t folded(char32_t character)
{
    if (character < 0x80)
        return character >= 'A' && character <= 'Z' ? character - 'A' + 'a' : character;
    const auto code = static_cast<utf8proc_int32_t>(character);
    utf8proc_int32_t whole[8];
    int boundary = 0;
    if (utf8proc_decompose_char(code, whole, 8, UTF8PROC_CASEFOLD, &boundary) == 1)
        return static_cast<char32_t>(whole[0]);
    return character == dottedCapitalI ? character : static_cast<char32_t>(utf8proc_tolower(code));
}

struct Character {
    char32_t code;      ///< folded
    std::size_t length; ///< in bytes, before that
};

/// The first character of a text that is not empty.
Character firstOf(std::string_view text)
{
    const auto first = static_cast<unsigned char>(text.front());
    const std::size_t length = utf8Length(text);
    if (length == 0)
        return {noCharacter + first, 1};
    if (length == 1)
        return {folded(first), 1};
    char32_t code = first & (0x7FU >> length);
    for (std::size_t i = 1; i < length; ++i)
        code = code << 6U | (static_cast<unsigned char>(text[i]) & 0x3FU);
    return {folded(code), length};
}

/// What is looked for, and for each length of a match that ends here how long the next best match is.
struct Pattern {
    std::vector<char32_t> codes;
    std::vector<std::size_t> shorter;

    explicit Pattern(std::string_view text)
    {
        while (!text.empty()) {
            const Character character = firstOf(text);
            text.remove_prefix(character.length);
            codes.push_back(character.code);
        }
        shorter.resize(codes.size() + 1);
        for (std::size_t i = 1; i < codes.size(); ++i)
            shorter[i + 1] = extended(shorter[i], codes[i]);
    }

    /// The longest match once a further character is there; `matched` is not the whole pattern.
    [[nodiscard]] std::size_t extended(std::size_t matched, char32_t code) const
    {
        while (matched > 0 && codes[matched] != code)
            matched = shorter[matched];
        return codes[matched] == code ? matched + 1 : 0;
    }
};

} // namespace

std::string replacedIgnoringCase(std::string_view text, std::string_view search, std::string_view replacement)
{
    const Pattern pattern(search);
    const std::size_t length = pattern.codes.size();
    if (length == 0)
        return std::string(text);
    std::string result;
    std::vector<std::size_t> starts(length); // of the latest characters, by their number modulo the length
    std::size_t copied = 0, matched = 0, number = 0;
    for (std::size_t at = 0; at < text.size(); ++number) {
        const Character character = firstOf(text.substr(at));
        starts[number % length] = at;
        at += character.length;
        matched = pattern.extended(matched, character.code);
        if (matched < length)
            continue;
        const std::size_t start = starts[(number + 1) % length];
        result.append(text, copied, start - copied).append(replacement);
        copied = at;
        matched = 0;
    }
    return result.append(text, copied);
}

} // namespace zel
