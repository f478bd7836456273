#include <zel/platform/foundation/json_coding.h>
#include <zel/platform/foundation/base64.h>
#include <zel/platform/foundation/limits.h>
#include <zel/platform/foundation/number_text.h>
#include <zel/platform/foundation/utf8.h>

#include <cmath>
#include <fmt/format.h>

namespace zel {
namespace {

using Kind = ZelDecodingError::Kind;

// Each value costs up to 48 bytes in memory, two in the text. Our own documents stay below a hundredth of this.
constexpr std::size_t mostValues = 4'000'000;

// Looks at the text before it is parsed, since a parser builds what it reads: how deep it goes, how many values it has.
void refuseExcess(std::string_view text, int depthLimit)
{
    int depth = 0;
    std::size_t values = 1;
    bool inText = false;
    for (std::size_t at = 0; at < text.size(); ++at) {
        const char byte = text[at];
        if (inText) {
            if (byte == '\\')
                ++at;
            else if (byte == '"')
                inText = false;
            continue;
        }
        switch (byte) {
        case '"':
            inText = true;
            break;
        case '[':
        case '{':
            ++values;
            if (++depth > depthLimit)
                throw ZelDecodingError(Kind::dataCorrupted, {},
                                       fmt::format("nested deeper than {} levels", depthLimit));
            break;
        case ']':
        case '}':
            --depth;
            break;
        case ',':
            ++values;
            break;
        default:
            break;
        }
    }
    if (values > mostValues)
        throw ZelDecodingError(Kind::dataCorrupted, {}, fmt::format("{} values, the limit is {}", values, mostValues));
}

// "[json.exception.parse_error.101] parse error at line 1, …": what stands in brackets helps nobody.
std::string withoutTag(std::string_view message)
{
    const std::size_t end = message.find("] ");
    return std::string(message.starts_with('[') && end != std::string_view::npos ? message.substr(end + 2) : message);
}

std::string_view kindOf(const Json& value)
{
    switch (value.type()) {
    case Json::value_t::null:
        return "null";
    case Json::value_t::object:
        return "an object";
    case Json::value_t::array:
        return "an array";
    case Json::value_t::string:
        return "a text";
    case Json::value_t::boolean:
        return "true or false";
    default:
        return "a number";
    }
}

struct Pair {
    double first, second;
};

OrderedJson writePair(double first, double second, const JsonPath& path)
{
    return OrderedJson::array(
        {JsonForm<double>::write(first, path.index(0)), JsonForm<double>::write(second, path.index(1))});
}

Pair readPair(const JsonReader& in)
{
    const std::vector<double> numbers = JsonForm<std::vector<double>>::read(in);
    if (numbers.size() < 2)
        throw ZelDecodingError(Kind::valueNotFound, in.path().index(numbers.size()).text(), "two numbers are needed");
    if (numbers.size() > 2)
        in.corrupted(fmt::format("two numbers are needed, there are {}", numbers.size()));
    return {numbers[0], numbers[1]};
}

const std::string& textOf(const JsonReader& in)
{
    if (!in.value().is_string())
        in.mistyped("a text");
    return in.value().get_ref<const std::string&>();
}

} // namespace

JsonPath JsonPath::key(std::string_view name) const
{
    JsonPath path;
    path.outer_ = this;
    path.key_ = name;
    return path;
}

JsonPath JsonPath::index(std::size_t number) const
{
    JsonPath path;
    path.outer_ = this;
    path.index_ = number;
    path.isIndex_ = true;
    return path;
}

std::string JsonPath::text() const
{
    if (outer_ == nullptr)
        return {};
    std::string text = outer_->text();
    if (isIndex_)
        return text + fmt::format("[{}]", index_);
    if (!text.empty())
        text += '.';
    return text.append(key_);
}

const Json* JsonReader::find(std::string_view key) const
{
    if (!value_.is_object())
        mistyped("an object");
    const auto found = value_.find(key);
    return found == value_.end() ? nullptr : &*found;
}

const Json& JsonReader::requiredValue(std::string_view key) const
{
    const Json* found = find(key);
    if (found == nullptr)
        throw ZelDecodingError(Kind::keyNotFound, path_.key(key).text(), fmt::format("there is no \"{}\"", key));
    if (found->is_null())
        throw ZelDecodingError(Kind::valueNotFound, path_.key(key).text(), fmt::format("\"{}\" is null", key));
    return *found;
}

void JsonReader::mistyped(std::string_view expected) const
{
    throw ZelDecodingError(Kind::typeMismatch, path_.text(),
                           fmt::format("{} is needed, there is {}", expected, kindOf(value_)));
}

void JsonReader::corrupted(const std::string& description) const
{
    throw ZelDecodingError(Kind::dataCorrupted, path_.text(), description);
}

Json parseJson(std::string_view text, JsonSize size)
{
    const ZelLimits limits = ZelLimits::current();
    const std::uint64_t most = limits.jsonBytes * static_cast<std::uint64_t>(size);
    if (text.size() > most)
        throw ZelDecodingError(Kind::dataCorrupted, {},
                               fmt::format("the text has {}, the limit is {}", byteText(text.size()), byteText(most)));
    refuseExcess(text, limits.jsonDepth);
    try {
        return Json::parse(text);
    } catch (const Json::exception& error) {
        throw ZelDecodingError(Kind::dataCorrupted, {}, withoutTag(error.what()));
    }
}

std::string jsonText(const OrderedJson& value)
{
    try {
        return value.dump();
    } catch (const OrderedJson::exception& error) {
        throw ZelEncodingError({}, withoutTag(error.what()));
    }
}

bool JsonForm<bool>::read(const JsonReader& in)
{
    if (!in.value().is_boolean())
        in.mistyped("true or false");
    return in.value().get<bool>();
}

OrderedJson JsonForm<double>::write(double value, const JsonPath& path)
{
    if (!std::isfinite(value))
        throw ZelEncodingError(path.text(), shortestDecimal(value) + " has no JSON form");
    return value;
}

double JsonForm<double>::read(const JsonReader& in)
{
    if (!in.value().is_number())
        in.mistyped("a number");
    return in.value().get<double>();
}

std::int64_t readInteger(const JsonReader& in, std::int64_t low, std::int64_t high)
{
    const Json& value = in.value();
    if (!value.is_number())
        in.mistyped("a whole number");
    std::optional<std::int64_t> number;
    if (value.is_number_float()) {
        const double real = value.get<double>();
        if (std::trunc(real) != real)
            in.mistyped("a whole number");
        constexpr double beyond = 9223372036854775808.0;
        if (real >= -beyond && real < beyond)
            number = static_cast<std::int64_t>(real);
    } else if (!value.is_number_unsigned() || value.get<std::uint64_t>() <= std::uint64_t{INT64_MAX}) {
        number = value.get<std::int64_t>();
    }
    if (!number || *number < low || *number > high)
        in.corrupted(fmt::format("{} does not lie within {} and {}", value.dump(), low, high));
    return *number;
}

OrderedJson JsonForm<std::string>::write(const std::string& value, const JsonPath& path)
{
    if (!isUtf8(value))
        throw ZelEncodingError(path.text(), "the text is not valid UTF-8");
    return value;
}

std::string JsonForm<std::string>::read(const JsonReader& in)
{
    return textOf(in);
}

OrderedJson JsonForm<URL>::write(const URL& value, const JsonPath& path)
{
    return JsonForm<std::string>::write(value.absoluteString(), path);
}

URL JsonForm<URL>::read(const JsonReader& in)
{
    const std::optional<URL> url = URL::parse(textOf(in));
    if (!url)
        in.corrupted("the text is no valid address");
    return *url;
}

OrderedJson JsonForm<Data>::write(const Data& value, const JsonPath&)
{
    return base64Encoded(value.span());
}

Data JsonForm<Data>::read(const JsonReader& in)
{
    std::optional<std::vector<std::uint8_t>> bytes = base64Decoded(textOf(in));
    if (!bytes)
        in.corrupted("the text is not valid base 64");
    return Data(std::move(*bytes));
}

OrderedJson JsonForm<CGPoint>::write(const CGPoint& value, const JsonPath& path)
{
    return writePair(value.x, value.y, path);
}

CGPoint JsonForm<CGPoint>::read(const JsonReader& in)
{
    const Pair pair = readPair(in);
    return {pair.first, pair.second};
}

OrderedJson JsonForm<CGSize>::write(const CGSize& value, const JsonPath& path)
{
    return writePair(value.width, value.height, path);
}

CGSize JsonForm<CGSize>::read(const JsonReader& in)
{
    const Pair pair = readPair(in);
    return {pair.first, pair.second};
}

} // namespace zel
