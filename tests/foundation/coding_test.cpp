#include <zel/platform/foundation/json_coding.h>
#include <zel/platform/foundation/limits.h>

#include <gtest/gtest.h>

namespace zel {

namespace {
enum class Side { left, right, none };
struct Item {
    std::string name;
    CGPoint at;
    friend bool operator==(const Item&, const Item&) = default;
};
struct Record {
    std::string id;
    bool on = false;
    double scale = 1;
    std::int64_t count = 0;
    Side side = Side::left;
    CGSize size;
    std::optional<URL> url;
    Data bytes;
    std::vector<Item> items;
    friend bool operator==(const Record&, const Record&) = default;
};
} // namespace

template <>
inline constexpr auto enumCases<Side> = std::to_array<EnumCase<Side>>({{Side::left, "left", "Left side"},
                                                                       {Side::right, "RIGHT"},
                                                                       {Side::none, "", "Nothing"}});

template <>
struct JsonForm<Item> {
    static OrderedJson write(const Item& item, const JsonPath& path)
    {
        return JsonObject(path).field("name", item.name).field("at", item.at).take();
    }
    static Item read(const JsonReader& in) { return {in.required<std::string>("name"), in.required<CGPoint>("at")}; }
};

template <>
struct JsonForm<Record> {
    static OrderedJson write(const Record& record, const JsonPath& path)
    {
        return JsonObject(path)
            .field("id", record.id)
            .field("on", record.on)
            .field("scale", record.scale)
            .field("count", record.count)
            .field("side", record.side)
            .field("size", record.size)
            .optionalField("url", record.url)
            .field("bytes", record.bytes)
            .field("items", record.items)
            .take();
    }
    static Record read(const JsonReader& in)
    {
        return {in.required<std::string>("id"),
                in.required<bool>("on"),
                in.required<double>("scale"),
                in.required<std::int64_t>("count"),
                in.required<Side>("side"),
                in.required<CGSize>("size"),
                in.optional<URL>("url"),
                in.required<Data>("bytes"),
                in.required<std::vector<Item>>("items")};
    }
};

namespace {

using Kind = ZelDecodingError::Kind;

const char* const recordText =
    R"({"id":"a","on":true,"scale":0.5,"count":3,"side":"RIGHT","size":[640.0,480.5],"url":"file:///a%20b",)"
    R"("bytes":"AQID","items":[{"name":"\u00e9","at":[1.0,-2.0]},{"name":"","at":[0.0,1e+300]}]})";

Record sample()
{
    return {"a",
            true,
            0.5,
            3,
            Side::right,
            {640, 480.5},
            URL::file("/a b"),
            Data({1, 2, 3}),
            {{"\xC3\xA9", {1, -2}}, {"", {0, 1e300}}}};
}

/// What decoding raises, shortly: "keyNotFound at items[0].name".
template <class T>
std::string raised(std::string_view text)
{
    try {
        (void)decodeJson<T>(text);
        return "nothing";
    } catch (const ZelDecodingError& error) {
        const char* const kinds[] = {"keyNotFound", "typeMismatch", "valueNotFound", "dataCorrupted"};
        EXPECT_STRNE(error.what(), "");
        return std::string(kinds[static_cast<int>(error.kind())]) + " at " + error.codingPath();
    }
}

TEST(Enumerations, HaveOneTable)
{
    EXPECT_EQ(rawValue(Side::right), "RIGHT");
    EXPECT_EQ(rawValue(Side::none), "");
    EXPECT_EQ(rawValue(static_cast<Side>(9)), "");
    EXPECT_EQ(fromRawValue<Side>("left"), Side::left);
    EXPECT_EQ(fromRawValue<Side>("Left"), std::nullopt);
    EXPECT_EQ(fromRawValue<Side>("lef"), std::nullopt);
    EXPECT_EQ(displayName(Side::left), "Left side");
    EXPECT_EQ(displayName(Side::right), "RIGHT");
    EXPECT_EQ(displayName(static_cast<Side>(9)), "");
    const std::span<const Side> cases = allCases<Side>();
    EXPECT_EQ(std::vector<Side>(cases.begin(), cases.end()), (std::vector<Side>{Side::left, Side::right, Side::none}));
    static_assert(rawValue(Side::left) == "left");
    enum class Bare { one };
    EXPECT_TRUE(allCases<Bare>().empty());
}

TEST(Json, WritesKeysInTheirOrder)
{
    EXPECT_EQ(encodeJson(sample()),
              std::string(recordText).replace(std::string(recordText).find("\\u00e9"), 6, "\xC3\xA9"));
    Record bare = sample();
    bare.url.reset();
    EXPECT_EQ(encodeJson(bare).find("url"), std::string::npos);
    const JsonPath root;
    EXPECT_EQ(
        jsonText(
            JsonObject(root).nullableField("a", std::optional<double>()).nullableField("b", std::optional(2.0)).take()),
        R"({"a":null,"b":2.0})");
    EXPECT_EQ(encodeJson(std::vector<double>{}), "[]");
    EXPECT_EQ(encodeJson(std::string("\"\\/\n\x01")), R"("\"\\/\n\u0001")");
}

TEST(Json, ReadsWhatItWrites)
{
    EXPECT_EQ(decodeJson<Record>(recordText), sample());
    EXPECT_EQ(decodeJson<Record>(encodeJson(sample())), sample());
    for (const double value : {0.1, 1.0 / 3, 5e-324, 1.7976931348623157e308, -0.0, 123456789.123456789})
        EXPECT_EQ(decodeJson<double>(encodeJson(value)), value);
    EXPECT_EQ(decodeJson<std::int64_t>(encodeJson(std::numeric_limits<std::int64_t>::min())),
              std::numeric_limits<std::int64_t>::min());
}

TEST(Json, StrictRecordsNameWhatIsWrong)
{
    const auto with = [](std::string_view from, std::string_view to) {
        std::string text = recordText;
        return text.replace(text.find(from), from.size(), to);
    };
    struct Case {
        std::string text, expected;
    };
    const Case cases[] = {
        {recordText, "nothing"},
        {with(R"("id":"a",)", ""), "keyNotFound at id"},
        {with(R"("id":"a")", R"("id":null)"), "valueNotFound at id"},
        {with(R"("id":"a")", R"("id":5)"), "typeMismatch at id"},
        {with("true", "1"), "typeMismatch at on"},
        {with("true", R"("true")"), "typeMismatch at on"},
        {with(R"("scale":0.5)", R"("scale":"0.5")"), "typeMismatch at scale"},
        {with(R"("scale":0.5)", R"("scale":true)"), "typeMismatch at scale"},
        {with(R"("scale":0.5)", R"("scale":2)"), "nothing"},
        {with("RIGHT", "right"), "dataCorrupted at side"},
        {with(R"("RIGHT")", "1"), "typeMismatch at side"},
        {with("[640.0,480.5]", "[640.0]"), "valueNotFound at size[1]"},
        {with("[640.0,480.5]", "[]"), "valueNotFound at size[0]"},
        {with("[640.0,480.5]", "[1,2,3]"), "dataCorrupted at size"},
        {with("[640.0,480.5]", R"([1,"2"])"), "typeMismatch at size[1]"},
        {with("[640.0,480.5]", "[null,2]"), "valueNotFound at size[0]"},
        {with("[640.0,480.5]", R"({"width":1,"height":2})"), "typeMismatch at size"},
        {with(R"("file:///a%20b")", "null"), "nothing"},
        {with(R"("url":"file:///a%20b",)", ""), "nothing"},
        {with("file:///a%20b", "http://"), "dataCorrupted at url"},
        {with(R"("file:///a%20b")", "7"), "typeMismatch at url"},
        {with("AQID", "AQI"), "dataCorrupted at bytes"},
        {with(R"("name":"",)", ""), "keyNotFound at items[1].name"},
        {with("[0.0,1e+300]", "[0.0,1e999]"), "dataCorrupted at "},
        {with("[0.0,1e+300]", "[0.0]"), "valueNotFound at items[1].at[1]"},
        {with(R"({"name":"\u00e9","at":[1.0,-2.0]})", "null"), "valueNotFound at items[0]"},
        {with(R"({"name":"\u00e9","at":[1.0,-2.0]})", "3"), "typeMismatch at items[0]"},
        {with(R"("id")", R"("unknown":[{}],"id")"), "nothing"},
        {"[]", "typeMismatch at "},
        {"null", "typeMismatch at "},
        {"", "dataCorrupted at "},
        {"{", "dataCorrupted at "},
        {"{} {}", "dataCorrupted at "},
        {"{\"id\":\"\xFF\"}", "dataCorrupted at "},
        {"{\"id\":\"\xED\xA0\x80\"}", "dataCorrupted at "},
        {R"({"id":"\ud800"})", "dataCorrupted at "},
        {R"({'id':1})", "dataCorrupted at "},
        {R"({"id":NaN})", "dataCorrupted at "},
    };
    for (const Case& row : cases)
        EXPECT_EQ(raised<Record>(row.text), row.expected) << row.text;
}

TEST(Json, OfTwoEqualKeysTheLastCounts)
{
    EXPECT_EQ(decodeJson<Item>(R"({"name":"a","at":[1,2],"name":"b","at":[3,4]})"), (Item{"b", {3, 4}}));
}

TEST(Json, ReadsWholeNumbers)
{
    struct Case {
        const char *text, *expected;
        std::int64_t value;
    };
    const Case cases[] = {
        {"3", "nothing", 3},
        {"-3", "nothing", -3},
        {"3.0", "nothing", 3},
        {"3e2", "nothing", 300},
        {"-0.0", "nothing", 0},
        {"9223372036854775807", "nothing", 9223372036854775807},
        {"-9223372036854775808", "nothing", std::numeric_limits<std::int64_t>::min()},
        {"-9223372036854775808.0", "nothing", std::numeric_limits<std::int64_t>::min()},
        {"9223372036854775808", "dataCorrupted at ", 0},
        {"18446744073709551615", "dataCorrupted at ", 0},
        {"-9223372036854779904", "dataCorrupted at ", 0},
        {"9223372036854775808.0", "dataCorrupted at ", 0},
        {"1e300", "dataCorrupted at ", 0},
        {"3.5", "typeMismatch at ", 0},
        {"1e-3", "typeMismatch at ", 0},
        {"\"3\"", "typeMismatch at ", 0},
        {"true", "typeMismatch at ", 0},
        {"null", "typeMismatch at ", 0},
    };
    for (const Case& row : cases) {
        SCOPED_TRACE(row.text);
        EXPECT_EQ(raised<std::int64_t>(row.text), row.expected);
        if (std::string_view(row.expected) == "nothing") {
            EXPECT_EQ(decodeJson<std::int64_t>(row.text), row.value);
        }
    }
    EXPECT_EQ(decodeJson<int>("2147483647"), 2147483647);
    EXPECT_EQ(raised<int>("2147483648"), "dataCorrupted at ");
    EXPECT_EQ(decodeJson<std::uint8_t>("255.0"), 255);
    EXPECT_EQ(raised<std::uint8_t>("256"), "dataCorrupted at ");
    EXPECT_EQ(raised<std::uint8_t>("-1"), "dataCorrupted at ");
}

TEST(Json, LenientFieldsFallBack)
{
    const auto lenient = [](std::string_view text) {
        const Json json = parseJson(text);
        const JsonReader in(json, JsonPath());
        return in.lenient<Item>("item", [] { return Item{"made", {9, 9}}; });
    };
    const Item made{"made", {9, 9}};
    EXPECT_EQ(lenient(R"({"item":{"name":"a","at":[1,2]}})"), (Item{"a", {1, 2}}));
    for (const char* text :
         {"{}", R"({"item":null})", R"({"item":5})", R"({"item":{"name":"a"}})", R"({"item":{"name":"a","at":[1]}})"})
        EXPECT_EQ(lenient(text), made) << text;
    EXPECT_THROW((void)lenient("[]"), ZelDecodingError);
    EXPECT_THROW((void)lenient("null"), ZelDecodingError);
    const Json json = parseJson(R"({"side":"up","scale":"2"})");
    const JsonReader in(json, JsonPath());
    EXPECT_EQ(in.lenient<Side>("side", Side::none), Side::none);
    EXPECT_EQ(in.lenient<double>("scale", 1.5), 1.5);
    EXPECT_EQ(in.lenient<std::string>("id", "fallback"), "fallback");
}

TEST(Json, RefusesWhatHasNoForm)
{
    const auto raisedBy = [](const Record& record) -> std::string {
        try {
            return encodeJson(record);
        } catch (const ZelEncodingError& error) {
            EXPECT_STRNE(error.what(), "");
            return error.codingPath();
        }
    };
    Record record = sample();
    record.scale = std::numeric_limits<double>::infinity();
    EXPECT_EQ(raisedBy(record), "scale");
    record = sample();
    record.items[1].at.y = std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ(raisedBy(record), "items[1].at[1]");
    record = sample();
    record.items[0].name = "\xFF";
    EXPECT_EQ(raisedBy(record), "items[0].name");
    record = sample();
    record.url = URL::parse("caf\xE9");
    EXPECT_EQ(raisedBy(record), "url");
}

TEST(Json, KeepsToItsLimits)
{
    const auto nested = [](std::size_t depth, const char* open, const char* close) {
        std::string text;
        for (std::size_t i = 0; i < depth; ++i)
            text += open;
        text += "1";
        for (std::size_t i = 0; i < depth; ++i)
            text += close;
        return text;
    };
    EXPECT_NO_THROW((void)parseJson(nested(64, "[", "]")));
    EXPECT_THROW((void)parseJson(nested(65, "[", "]")), ZelDecodingError);
    EXPECT_NO_THROW((void)parseJson(nested(64, R"({"a":)", "}")));
    EXPECT_THROW((void)parseJson(nested(65, R"({"a":)", "}")), ZelDecodingError);
    EXPECT_THROW((void)parseJson(nested(1'000'000, "[", "]")), ZelDecodingError);
    // Brackets in texts are letters.
    EXPECT_EQ(decodeJson<std::string>("\"" + std::string(100, '[') + R"(\")" + std::string(100, '{') + "\"").size(),
              201U);

    ZelLimits limits;
    limits.jsonBytes = 20;
    limits.jsonDepth = 2;
    const ZelLimits::Scope scope(limits);
    EXPECT_EQ(decodeJson<std::string>("\"" + std::string(18, 'a') + "\"").size(), 18U);
    EXPECT_EQ(raised<std::string>("\"" + std::string(19, 'a') + "\""), "dataCorrupted at ");
    EXPECT_EQ(decodeJson<std::string>("\"" + std::string(158, 'a') + "\"", JsonSize::picture).size(), 158U);
    EXPECT_THROW((void)decodeJson<std::string>("\"" + std::string(159, 'a') + "\"", JsonSize::picture),
                 ZelDecodingError);
    EXPECT_THROW((void)parseJson("[[[]]]"), ZelDecodingError);
}

TEST(Json, BoundsTheNumberOfValues)
{
    std::string text = "[";
    for (int i = 0; i < 3'999'998; ++i)
        text += "0,";
    EXPECT_EQ(parseJson(text + "0]").size(), 3'999'999U);
    EXPECT_THROW((void)parseJson(text + "0,0]"), ZelDecodingError);
    // A hundred thousand keys in one object are found as fast as a few.
    text = "{";
    for (int i = 0; i < 100'000; ++i)
        text += "\"" + std::to_string(i) + "\":0,";
    EXPECT_EQ(parseJson(text + R"("last":1})").size(), 100'001U);
}

TEST(Json, SurvivesEveryChangedByte)
{
    const std::string whole = recordText;
    const auto survive = [](const std::string& text) {
        try {
            // What can be read can be written and read again.
            const Record record = decodeJson<Record>(text);
            EXPECT_EQ(decodeJson<Record>(encodeJson(record)), record) << text;
        } catch (const ZelDecodingError&) {
        }
    };
    for (std::size_t at = 0; at < whole.size(); ++at) {
        survive(whole.substr(0, at));
        for (const char byte : {'\0', '"', '[', ']', '{', '}', ',', '9', '-', 'e', '\\', '\xFF', '%'}) {
            std::string text = whole;
            text[at] = byte;
            survive(text);
        }
    }
}

} // namespace
} // namespace zel
