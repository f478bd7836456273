#include <zel/operations/cube_text.h>

#include <zel/platform/foundation/notes.h>

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <cstring>

// Numbers are read as they come, and no further than the size allows; nothing is reserved before the size is known.
namespace zel {
namespace {

constexpr std::size_t headBytes = std::size_t{64} << 10; // comments and titles come first
constexpr int smallest = 2, largest = 129;
constexpr std::string_view blank = " \t\r\f\v";
constexpr std::string_view operation = "look-up table";

/// Takes words off the front of a line.
std::string_view nextWord(std::string_view& line)
{
    const auto start = std::min(line.size(), line.find_first_not_of(blank));
    const auto end = std::min(line.size(), line.find_first_of(blank, start));
    const std::string_view word = line.substr(start, end - start);
    line.remove_prefix(end);
    return word;
}

template <class Number>
std::optional<Number> numberOf(std::string_view word)
{
    if (word.size() > 1 && word.front() == '+' && word[1] != '-')
        word.remove_prefix(1);
    Number number{};
    const auto [end, error] = std::from_chars(word.data(), word.data() + word.size(), number);
    if (error != std::errc() || end != word.data() + word.size())
        return std::nullopt;
    return number;
}

bool startsNumber(std::string_view word)
{
    return word.find_first_of("+-.0123456789") == 0;
}

class CubeText {
public:
    /// False, noted, where nothing can be made of the line.
    bool take(std::string_view line, int number)
    {
        std::string_view rest = line;
        const std::string_view word = nextWord(rest);
        if (word.empty() || word.front() == '#')
            return true;
        if (startsNumber(word))
            return takeColor(line, number);
        if (word == "LUT_1D_SIZE")
            return fail(ZelFailureCode::unsupported, operation, "the text holds a table of one dimension, not a cube");
        if (word == "LUT_3D_SIZE")
            return takeSize(nextWord(rest));
        if (word == "DOMAIN_MIN")
            return takeDomain(rest, 0, 3);
        if (word == "DOMAIN_MAX")
            return takeDomain(rest, 1, 3);
        if (word == "LUT_3D_INPUT_RANGE")
            return takeDomain(rest, 0, 1) && takeDomain(rest, 1, 1);
        return true; // TITLE, and words of others
    }

    Ref<const CGImage> picture()
    {
        const auto side = static_cast<std::size_t>(side_);
        if (side_ == 0)
            return fail(ZelFailureCode::unreadable, operation, "the text has no LUT_3D_SIZE");
        if (samples_.size() != wanted())
            return fail(ZelFailureCode::truncated, operation,
                        fmt::format("the text has {} colours, a cube of {} has {}", samples_.size() / 4, side_,
                                    side * side * side));
        std::vector<std::uint8_t> bytes(samples_.size() * sizeof(std::uint16_t));
        std::memcpy(bytes.data(), samples_.data(), bytes.size());
        CGImage::Layout layout;
        layout.width = side_;
        layout.height = side_ * side_;
        layout.bitsPerComponent = 16;
        layout.alphaInfo = CGAlphaInfo::noneSkipLast;
        return CGImage::make(layout, Data(std::move(bytes)), side * 4 * sizeof(std::uint16_t));
    }

private:
    [[nodiscard]] std::size_t wanted() const
    {
        const auto side = static_cast<std::size_t>(side_);
        return side * side * side * 4;
    }

    bool takeSize(std::string_view word)
    {
        const auto size = numberOf<int>(word);
        if (!size || *size < smallest || *size > largest || side_ != 0)
            return fail(ZelFailureCode::invalidArgument, operation,
                        fmt::format("LUT_3D_SIZE is a number from {} to {}, once", smallest, largest));
        side_ = *size;
        samples_.reserve(wanted());
        return true;
    }

    static bool takeDomain(std::string_view& rest, double only, int count)
    {
        for (int i = 0; i < count; ++i)
            if (numberOf<double>(nextWord(rest)) != only)
                return fail(ZelFailureCode::unsupported, operation, "the text's domain is not 0 to 1");
        return true;
    }

    bool takeColor(std::string_view line, int number)
    {
        if (side_ == 0)
            return fail(ZelFailureCode::unreadable, operation,
                        fmt::format("line {} has colours before LUT_3D_SIZE", number));
        if (samples_.size() >= wanted())
            return fail(ZelFailureCode::unreadable, operation,
                        fmt::format("line {} has more colours than a cube of {}", number, side_));
        for (int i = 0; i < 3; ++i) {
            const auto value = numberOf<double>(nextWord(line));
            if (!value || !std::isfinite(*value))
                return fail(ZelFailureCode::unreadable, operation, fmt::format("line {} is not three numbers", number));
            samples_.push_back(static_cast<std::uint16_t>(std::clamp(*value, 0.0, 1.0) * 65535 + 0.5));
        }
        samples_.push_back(65535);
        if (!nextWord(line).empty())
            return fail(ZelFailureCode::unreadable, operation, fmt::format("line {} is not three numbers", number));
        return true;
    }

    int side_ = 0;
    std::vector<std::uint16_t> samples_; ///< red, green, blue, full alpha
};

} // namespace

bool isCubeText(std::span<const std::uint8_t> bytes)
{
    const std::string_view head(reinterpret_cast<const char*>(bytes.data()), std::min(bytes.size(), headBytes));
    return head.find('\0') == std::string_view::npos &&
           (head.find("LUT_3D_SIZE") != std::string_view::npos || head.find("LUT_1D_SIZE") != std::string_view::npos);
}

Ref<const CGImage> readCubeText(std::string_view text)
{
    constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";
    if (text.substr(0, byteOrderMark.size()) == byteOrderMark)
        text.remove_prefix(byteOrderMark.size());
    CubeText cube;
    for (int number = 1; !text.empty(); ++number) {
        const auto end = std::min(text.size(), text.find('\n'));
        if (!cube.take(text.substr(0, end), number))
            return nullptr;
        text.remove_prefix(std::min(text.size(), end + 1));
    }
    return cube.picture();
}

} // namespace zel
