#include "apps/run_program.h"
#include "apps/sample_files.h"

#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

// `info`, and the JSON of all verbs against the schemas under docs.
namespace zel::testing {
namespace {

using Json = nlohmann::json;

/// The part of JSON Schema that ours use. What stands in a document and not in its schema is an error, too: fields are
/// documented before they are printed.
class Schema {
public:
    explicit Schema(const std::string& name)
    {
        std::ifstream file(std::filesystem::path(ZEL_SCHEMAS) / name);
        root_ = Json::parse(file);
    }
    /// What is wrong, line by line; empty for a document that conforms.
    [[nodiscard]] std::string faultsOf(const Json& document) const
    {
        std::string faults;
        check(document, root_, "", faults);
        return faults;
    }
    [[nodiscard]] std::string faultsOfInput(const Json& document) const
    {
        std::string faults;
        check(document, root_["$defs"]["input"], "", faults);
        return faults;
    }

private:
    static bool isOfType(const Json& value, const std::string& type)
    {
        return type == "object"    ? value.is_object()
               : type == "array"   ? value.is_array()
               : type == "string"  ? value.is_string()
               : type == "boolean" ? value.is_boolean()
               : type == "integer" ? value.is_number_integer()
                                   : type == "number" && value.is_number();
    }
    void check(const Json& value, const Json& given, const std::string& place, std::string& faults) const
    {
        const auto fault = [&](const std::string& what) { faults += place + ": " + what + '\n'; };
        const Json& schema =
            given.contains("$ref") ? root_.at(Json::json_pointer(given["$ref"].get<std::string>().substr(1))) : given;
        if (schema.contains("type") && !isOfType(value, schema["type"]))
            return fault("is no " + schema["type"].get<std::string>());
        if (schema.contains("const") && value != schema["const"])
            fault("is not " + schema["const"].dump());
        if (schema.contains("enum") &&
            std::find(schema["enum"].begin(), schema["enum"].end(), value) == schema["enum"].end())
            fault("is none of " + schema["enum"].dump());
        if (value.is_number() && ((schema.contains("minimum") && value < schema["minimum"]) ||
                                  (schema.contains("maximum") && value > schema["maximum"])))
            fault(value.dump() + " is out of range");
        for (const auto& name : schema.value("required", Json::array()))
            if (!value.contains(name.get<std::string>()))
                fault("lacks " + name.get<std::string>());
        if (value.is_object() && schema.contains("properties"))
            for (const auto& [name, item] : value.items()) {
                if (schema["properties"].contains(name))
                    check(item, schema["properties"][name], place + '/' + name, faults);
                else
                    fault(name + " is not documented");
            }
        if (!value.is_array())
            return;
        if (value.size() < schema.value("minItems", std::size_t{0}) ||
            value.size() > schema.value("maxItems", value.size()))
            fault("has " + std::to_string(value.size()) + " items");
        for (std::size_t i = 0; schema.contains("items") && i < value.size(); ++i)
            check(value[i], schema["items"], place + '/' + std::to_string(i), faults);
    }

    Json root_;
};

TEST(Info, PrintsATable)
{
    const TemporaryFolder folder(true);
    folder.put("a.png", pngFile(40, 30, ramp, 11811)); // 300 dots an inch
    folder.put("a long name.jpg", jpegFile(7, 1200));
    const auto ended = zel(folder, {"info", "a.png", "a long name.jpg", "none.png"});
    EXPECT_EQ(ended.status, 1);
    EXPECT_EQ(ended.err.substr(0, ended.err.find('\n')), "zel info: none.png: no such file");
    std::istringstream lines(ended.out);
    std::string title, first, second, more;
    std::getline(lines, title), std::getline(lines, first), std::getline(lines, second);
    EXPECT_FALSE(std::getline(lines, more)) << more;
    // Every column begins where its title does.
    const struct {
        std::string title, first, second;
    } columns[] = {{"FILE", "a.png", "a long name.jpg"},
                   {"PIXELS", "40 x 30", "7 x 1200"},
                   {"FORMAT", "png", "jpeg"},
                   {"BITS", "8", "8"},
                   {"ALPHA", "yes", "no"},
                   {"PROFILE", "sRGB", "sRGB"},
                   {"ORIENTATION", "1", "1"},
                   {"POINTS", "9.6", "7 x 1200"},
                   {"FRAMES", "1", "1"}};
    for (const auto& column : columns) {
        const auto at = title.find(column.title);
        ASSERT_NE(at, std::string::npos) << column.title;
        EXPECT_EQ(first.substr(at, column.first.size()), column.first) << column.title;
        EXPECT_EQ(second.substr(at, column.second.size()), column.second) << column.title;
    }
    const auto averages = zel(folder, {"info", "--average", "a.png"}).out;
    EXPECT_NE(averages.find("19.5 14.5 100.0 255.0"), std::string::npos) << averages; // means of 0…39 and 0…29
}

TEST(Info, TellsWhatFilesHoldInJson)
{
    const TemporaryFolder folder(true);
    folder.put("a.png", pngFile(40, 30));
    const auto line = Json::parse(zel(folder, {"info", "--jsonl", "--average", "a.png"}).out);
    EXPECT_EQ(line["width"], 40);
    EXPECT_EQ(line["height"], 30);
    EXPECT_EQ(line["format"], "png");
    EXPECT_EQ(line["hasAlpha"], true);
    EXPECT_EQ(line["bits"], 8);
    EXPECT_EQ(line["orientation"], 1);
    EXPECT_EQ(line["pointSize"], (Json::array({40.0, 30.0})));
    EXPECT_EQ(line["average"], (Json::array({19.5, 14.5, 100.0, 255.0})));
}

TEST(Exif, ListsWhatAFileSaysAndHeedsStrict)
{
    const TemporaryFolder folder(true);
    folder.put("a.png", pngFile(40, 30, ramp, 2835));
    folder.put("two.ppm", "P5 1 1 255\nAP5 1 1 255\nB");
    const auto listed = zel(folder, {"exif", "a.png"}).out;
    for (const char* name : {"PixelWidth", "PixelHeight", "DPIWidth", "ColorModel"})
        EXPECT_NE(listed.find(name), std::string::npos) << name;
    const auto line = Json::parse(zel(folder, {"exif", "--jsonl", "a.png"}).out);
    EXPECT_EQ(line["properties"]["PixelWidth"], 40);
    EXPECT_EQ(line["properties"]["DPIWidth"], 72.0); // what 2835 dots a metre mean
    const Ended lenient = zel(folder, {"exif", "two.ppm"}), strict = zel(folder, {"exif", "--strict", "two.ppm"});
    EXPECT_EQ(lenient.status, 0);
    EXPECT_NE(strict.status, 0) << "a second picture is a warning";
    EXPECT_EQ(strict.out, "");
}

TEST(JsonDocuments, ConformToTheirSchemas)
{
    const TemporaryFolder folder(true);
    folder.put("a.png", pngFile(40, 30));
    folder.put("a.jpg", jpegFile(64, 48));
    const std::string whole = jpegFile(256, 256);
    folder.put("cut.jpg", whole.substr(0, whole.size() / 2));
    folder.put("taken.png", "old");
    const Schema schema("inputs.schema.json");
    const std::vector<std::string> runs[] = {
        {"info", "--average", "a.png", "a.jpg", "cut.jpg", "none.png"},
        {"info", "none.png"},
        {"exif", "a.png", "cut.jpg", "none.png"},
        {"resize", "--width", "20", "a.png", "a.jpg", "cut.jpg", "none.png", "-o", "{n}.png"},
        {"resize", "--width", "20", "a.png", "-o", "out/", "--dry-run"},
        {"convert", "a.png", "-o", "taken.png", "--skip-existing"},
        {"convert", "--lossless", "a.jpg", "-o", "b.jpg"},
        {"fetch", folder.url("a.png").absoluteString(), folder.url("no.png").absoluteString(), "-o", "{n}.jpg"},
        {"upload", "none.png", "a.png", "--to", "http://127.0.0.1:1/"},
    };
    for (auto words : runs) {
        SCOPED_TRACE(::testing::PrintToString(words));
        words.emplace_back("--json");
        const auto document = zel(folder, words).out;
        ASSERT_TRUE(Json::accept(document)) << document;
        EXPECT_EQ(schema.faultsOf(Json::parse(document)), "");
        words.back() = "--jsonl";
        if (std::count_if(words.begin(), words.end(), [](auto& word) { return word.starts_with("{n}"); }) >
            0) // what the first run wrote
            words.emplace_back("--force");
        std::istringstream lines(zel(folder, words).out);
        int count = 0;
        for (std::string line; std::getline(lines, line); ++count) {
            ASSERT_TRUE(Json::accept(line)) << line;
            Json object = Json::parse(line);
            EXPECT_EQ(object["version"], 1);
            EXPECT_EQ(object["verb"], words.front());
            object.erase("version"), object.erase("verb");
            EXPECT_EQ(schema.faultsOfInput(object), "");
        }
        EXPECT_GT(count, 0);
    }
    EXPECT_EQ(Schema("formats.schema.json").faultsOf(Json::parse(zel(folder, {"formats", "--json"}).out)), "");
    EXPECT_EQ(Schema("version.schema.json").faultsOf(Json::parse(zel(folder, {"version", "--json"}).out)), "");
    std::filesystem::create_directories(folder / "caches/photo/thumbs");
    folder.put("caches/photo/thumbs/a.png", "some bytes");
    for (const std::vector<std::string>& words : std::vector<std::vector<std::string>>{
             {"list"}, {"stats", "thumbs", "none"}, {"prune", "--older-than", "0"}, {"clear", "--all"}}) {
        Command command{.words = {"cache", "--json", "--application", "photo"},
                        .environment = {"XDG_CACHE_HOME=" + (folder / "caches").string()}};
        command.words.insert(command.words.end(), words.begin(), words.end());
        EXPECT_EQ(Schema("cache.schema.json").faultsOf(Json::parse(zel(folder, command).out)), "") << words[0];
    }
    // The check can fail.
    EXPECT_EQ(
        schema.faultsOf(Json::parse(R"({"version": 2, "verb": 3, "inputs": [{"input": "a", "status": "gone"}]})")),
        ": lacks tally\n/inputs/0/status: is none of [\"done\",\"planned\",\"skipped\",\"failed\",\"stopped\"]\n"
        "/verb: is no string\n/version: is not 1\n");
}

} // namespace
} // namespace zel::testing
