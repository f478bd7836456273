#include "apps/run_program.h"
#include "apps/sample_files.h"

#include <zel/composition/composer.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <nlohmann/json.hpp>

namespace zel::testing {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;
using Json = nlohmann::json;

ZelComposer card()
{
    ZelComposer composer;
    for (const char* text : {"Dear NAME", "name's CITY"}) {
        ZelComposer::Layer layer;
        layer.layerType = ZelComposer::Layer::LayerType::text;
        layer.text.text = text;
        composer.layerList.push_back(layer);
    }
    composer.layerList[1].id = "second";
    composer.layerList[1].transform.location = {0.25, -0.5};
    composer.guideList_.push_back({"g", ZelComposer::Guide::Orientation::vertical, 0.125, false});
    return composer;
}

TEST(ComposerVerb, ChecksAndShows)
{
    const TemporaryFolder folder;
    const std::string good = encode(card());
    folder.put("good.json", good);
    auto bad = Json::parse(good);
    bad["layerList"][1]["transform"]["scale"].erase("x");
    folder.put("bad.json", bad.dump());
    folder.put("no.json", "{");

    const auto all = zel(folder, {"composer", "check", "good.json"});
    EXPECT_EQ(all.status, 0) << all.err;
    EXPECT_EQ(all.out, "good.json: 2 layers, 1 guide\n");
    const auto broken = zel(folder, {"composer", "check", "bad.json"});
    EXPECT_EQ(broken.status, 3);
    EXPECT_EQ(broken.out, "");
    EXPECT_THAT(broken.err, HasSubstr("bad.json: layerList[1].transform.scale.x: "));
    EXPECT_EQ(std::count(broken.err.begin(), broken.err.end(), '\n'), 1) << broken.err;
    EXPECT_EQ(zel(folder, {"composer", "check", "no.json"}).status, 3);
    EXPECT_EQ(zel(folder, {"composer", "check", "none.json"}).status, 3);

    const auto shown = zel(folder, {"composer", "show", "good.json"}).out;
    EXPECT_THAT(shown, HasSubstr("second"));
    EXPECT_THAT(shown, HasSubstr("0.25, -0.5"));
    EXPECT_THAT(shown, HasSubstr("vertical"));
    const auto json = Json::parse(zel(folder, {"composer", "show", "good.json", "--json"}).out).at("inputs").at(0);
    EXPECT_EQ(json.at("layers").at(1).at("y").get<double>(), -0.5);
    EXPECT_EQ(json.at("layers").at(1).at("content").get<std::string>(), "name's CITY");
    EXPECT_EQ(json.at("guides").at(0).at("location").get<double>(), 0.125);
}

TEST(ComposerVerb, Replaces)
{
    const TemporaryFolder folder;
    folder.put("card.json", encode(card()));
    const auto run = zel(
        folder, {"composer", "replace", "card.json", "-o", "out.json", "--pair", "NAME=Anna", "--pair", "city=x=y"});
    ASSERT_EQ(run.status, 0) << run.err;
    const auto composer = decode<ZelComposer>(folder.text("out.json"));
    EXPECT_EQ(composer.layerList.at(0).text.text, "Dear Anna");
    EXPECT_EQ(composer.layerList.at(1).text.text, "Anna's x=y");
    using Words = std::vector<std::string>;
    for (const Words& wrong : {Words{}, Words{"replace", "card.json"}, Words{"replace", "card.json", "--pair", "x"},
                               Words{"replace", "card.json", "--pair", "=x"}, Words{"turn", "card.json"},
                               Words{"check", "card.json", "--pair", "a=b"}, Words{"check"},
                               Words{"replace", "card.json", "-o", "card.json", "--pair", "a=b"}}) {
        Words words = {"composer"};
        words.insert(words.end(), wrong.begin(), wrong.end());
        EXPECT_EQ(zel(folder, words).status, 2) << ::testing::PrintToString(wrong);
    }
}

TEST(CanvasVerb, DrawsWhatItFindsAndNamesWhatItDoesNot)
{
    const TemporaryFolder folder;
    std::filesystem::create_directory(folder / "in");
    folder.put("in/red.png", pngFile(2, 2, [](int, int) { return Pixel{255, 0, 0, 255}; }));
    const auto layer = [](const std::string& id, const std::string& url) {
        return Json{{"id", id},
                    {"source", {{"identification", "url"}, {"url", url}}},
                    {"spatialConforming", "None"},
                    {"transform", {{"anchor", {0.5, 0.5}}, {"position", {0.25, 0.75}}, {"scale", 1}, {"opacity", 1}}}};
    };
    const Json document = {{"size", {{"width", 4}, {"height", 4}}},
                           {"layerList", {layer("there", "red.png"), layer("lost", "gone.png")}}};
    folder.put("in/doc.json", document.dump());
    const auto run = zel(folder, {"canvas", "in/doc.json", "-o", "out.png"});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_THAT(run.err, HasSubstr("lost"));
    EXPECT_THAT(run.err, Not(HasSubstr("there")));
    const auto pixels = pixelsOfFile(folder.text("out.png"));
    ASSERT_EQ(pixels.size(), 16U);
    for (std::size_t i = 0; i < 16; ++i)
        EXPECT_EQ(pixels[i], (i % 4 < 2 && i < 8 ? Pixel{255, 0, 0, 255} : Pixel{0, 0, 0, 0})) << i;
    EXPECT_NE(zel(folder, {"canvas", "in/doc.json", "-o", "strict.png", "--strict"}).status, 0);
    EXPECT_EQ(folder.text("strict.png"), "absent");
    folder.put("no.json", "[");
    EXPECT_EQ(zel(folder, {"canvas", "no.json", "-o", "no.png"}).status, 3);
}

} // namespace
} // namespace zel::testing
