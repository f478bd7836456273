#include "seeds.h"

namespace zel::seeds {
namespace {

struct Document {
    const char* name;
    /// the first byte: 0 image, 1 canvas, 2 watermark, 3 colour, 4 key colour, 5 table, 6 .cube text, 7 colour list,
    /// 8 layer of a composer, 9 composer, 10 manager, 11 layer of a canvas, 12 its source, 13 date and position, 14
    /// guide, 15 text of a layer, 16 search and replace, 17 position
    char record;
    const char* text;
};

// A red pixel.
#define PIXEL "iVBORw0KGgoAAAANSUhEUgAAAAEAAAABCAIAAACQd1PeAAAADElEQVR4nGP4z8AAAAMBAQDJ/pLvAAAAAElFTkSuQmCC"

const Document documents[] = {
    {"image", 0,
     R"({"id":"a","size":[1,1],"metadata":{"metadata":[{"key":"k","value":"v"}]},"imageData":")" PIXEL R"("})"},
    {"image-of-another-size", 0, R"({"id":"","size":[2.5,1e3],"metadata":{"metadata":[]},"imageData":")" PIXEL R"("})"},
    {"image-null", 0, R"({"id":"a","size":[1,1],"metadata":{"metadata":[]},"imageData":null})"},
    {"image-no-picture", 0, R"({"id":"a","size":[1,1],"metadata":{"metadata":[]},"imageData":"AAAA"})"},
    {"image-bad-base64", 0, R"({"id":"a","size":[1,1],"metadata":{"metadata":[]},"imageData":"A*=A"})"},
    {"canvas-empty", 1, "{}"},
    {"canvas", 1,
     R"({"size":{"width":30,"height":20},"layerList":[{"id":"l","type":"image","source":{"identification":"url","url":"file:///nowhere.png"},"spatialConforming":"fit","transform":{"anchor":[0.5,0.5],"position":[0.25,0.75],"scale":1.5,"opacity":0.5}}]})"},
    {"canvas-share-app", 1,
     R"({"size":{"width":1,"height":1},"layerList":[{"source":{"identification":"shareAppId","shareAppId":"../x"}},{},{"source":{"identification":"image"}}]})"},
    {"canvas-huge", 1, R"({"size":{"width":1000000000,"height":1000000000},"layerList":[]})"},
    {"canvas-negative", 1, R"({"size":{"width":-1,"height":9223372036854775807},"layerList":null})"},
    {"canvas-mistyped", 1,
     R"({"size":[1,2],"layerList":[{"id":7,"type":"shape","source":5,"spatialConforming":"stretch","transform":{"anchor":[0]}}]})"},
    {"canvas-layer-no-object", 1, R"({"layerList":[1]})"},
    {"watermark", 2,
     R"({"position":"Bottom Right","scale":{"policy":"Largest Side Scale","scale":0.25,"maxScale":1,"minScale":0},"opacity":0.6})"},
    {"watermark-centre", 2,
     R"({"position":"Center","scale":{"policy":"Original Size","scale":1e308,"maxScale":-0.0,"minScale":5e-324},"opacity":1})"},
    {"watermark-unknown", 2,
     R"({"position":"Middle","scale":{"policy":"","scale":1,"maxScale":1,"minScale":0},"opacity":1})"},
    {"watermark-missing", 2, R"({"position":"Center","scale":{"policy":"Original Size","scale":1}})"},
    {"watermark-not-finite", 2,
     R"({"position":"Center","scale":{"policy":"Original Size","scale":1e999,"maxScale":1,"minScale":0},"opacity":1})"},
    {"colour", 3, R"({"r":1,"g":2,"b":255,"a":0})"},
    {"colour-outside", 3, R"({"r":256,"g":-1,"b":1.5,"a":"0"})"},
    {"colour-twice", 3, R"({"r":1,"r":2,"g":2,"b":3,"a":4})"},
    {"colour-text", 3, R"("red")"},
    {"key-colour", 4, R"({"color":{"red":0.1,"green":1,"blue":-1e300,"alpha":1},"tolerance":60})"},
    {"key-colour-without-tolerance", 4, R"({"color":{"red":0,"green":1,"blue":0,"alpha":1}})"},
    {"key-colour-mistyped", 4, R"({"color":"green","tolerance":1e999})"},
    {"table", 5, R"({"data":")" PIXEL R"("})"},
    {"table-bad-base64", 5, R"({"data":"A*=A"})"},
    {"cube", 6,
     "# c\nTITLE \"t\"\nDOMAIN_MIN 0 0 0\nDOMAIN_MAX 1 1 1\nLUT_3D_SIZE 2\n0 0 0\n1 0 0\n0 1 0\n1 1 0\n0 0 1\n1 0 1\n0 "
     "1 "
     "1\n1 1 1e0\n"},
    {"cube-huge", 6, "LUT_3D_SIZE 129\n0 0 0\n"},
    {"cube-of-one-dimension", 6, "LUT_1D_SIZE 2\n0 0 0\n1 1 1\n"},
    {"colour-list", 7,
     R"({"list":[{"red":0,"green":0.5,"blue":1,"alpha":1},{"red":-1,"green":2,"blue":1e-9,"alpha":0}]})"},
    {"colour-list-empty", 7, R"({"list":[]})"},
    {"colour-list-mistyped", 7, R"({"list":[{"red":"0","green":null,"blue":[],"alpha":1}]})"},
    {"layer", 8,
     R"({"id":"l","layerType":"shape","image":{"type":"url","ratio":1.5,"resourceAccess":{"url":"file:///a.png"}},"shape":{"type":"circle","style":{"strokeWidth":1,"fill":false,"fillStyle":"color","fillColor":{"red":0,"green":0,"blue":0,"alpha":1}}},"text":{"text":"a","font":{"name":"Serif","size":9},"alignment":"center","color":{"red":1,"green":1,"blue":1,"alpha":1}},"transform":{"location":[0.5,-1],"scale":{"x":1,"y":2},"rotation":30,"opacity":0.5}})"},
    {"composer", 9,
     R"({"id":"c","name":"n","ratio":1.5,"layerList":[],"guideList_":[{"id":"g","orientation":"vertical","location":0.1,"intrinsic":false}],"bgColor":{"red":0,"green":0,"blue":0,"alpha":1},"shouldBeDeleted":false,"selectedLayerId":"l"})"},
    {"composer-mistyped", 9,
     R"({"id":"c","name":"n","ratio":"1","layerList":[{"text":7}],"guideList_":[{}],"bgColor":null,"shouldBeDeleted":0})"},
    {"manager", 10,
     R"({"configurationName":"Default","composerList":[{"id":"c","name":"n","ratio":1.5,"layerList":[],"guideList_":[],"bgColor":{"red":0,"green":0,"blue":0,"alpha":1},"shouldBeDeleted":false}],"selectedComposerId":"c"})"},
    {"manager-missing", 10, R"({"composerList":[{}]})"},
    {"canvas-layer", 11,
     R"({"id":"l","type":"Image","source":{"identification":"shareAppId","shareAppId":"s"},"spatialConforming":"None","transform":{"anchor":[0,0],"position":[1,1],"scale":2,"opacity":1}})"},
    {"canvas-source", 12, R"({"identification":"url","url":"https://example.org/a%20b?c#d","shareAppId":null})"},
    {"photograph", 13, R"({"shotDate":648000000.5,"coordinates":{"lat":33.86,"lon":151.21}})"},
    {"photograph-old", 13, R"({"shotDate":-10178000000,"coordinates":{"lat":null}})"},
    {"guide", 14, R"({"id":"g","orientation":"vertical","location":-0.0,"intrinsic":true})"},
    {"text", 15, R"({"text":"a","font":{"name":"Serif","size":12},"alignment":"right","color":null})"},
    {"search-and-replace", 16, R"({"search":"NAME","replace":"Anna"})"},
    {"facts", 13, R"({"shotDate":646241400.25,"coordinates":{"lat":41.2203,"lon":96.071625}})"},
    {"facts-without-date", 13, R"({"coordinates":{"lon":-0.0}})"},
    {"facts-without-position", 13, R"({"shotDate":-1e300})"},
    {"facts-mistyped", 13, R"({"shotDate":"2021:07:04 15:30:00","coordinates":[41,96]})"},
    {"position", 17, R"({"lat":5e-324,"lon":1e999})"},
    {"position-null", 17, R"({"lat":null})"},
    {"empty", 1, ""},
    {"not-utf8", 2, "{\"position\":\"\xff\xfe\"}"},
    {"escapes", 0,
     R"({"id":"\u0000\ud83d\ude00\"\\/","size":[1,1],"metadata":{"metadata":[]},"imageData":")" PIXEL R"("})"},
};

/// A document that opens many more brackets than any honest one.
std::string deep(std::size_t depth)
{
    std::string text = R"({"layerList":)";
    for (std::size_t i = 0; i < depth; ++i)
        text += '[';
    return text;
}

Seed make(const std::string& name, char record, const std::string& text)
{
    const std::string all = record + text;
    return {"json-" + name, Bytes(all.begin(), all.end()), 0, 0};
}

} // namespace

std::vector<Seed> jsonSeeds()
{
    std::vector<Seed> seeds;
    for (const Document& document : documents)
        seeds.push_back(make(document.name, document.record, document.text));
    seeds.push_back(make("deep", 1, deep(65)));
    seeds.push_back(make("very-deep", 1, deep(20'000)));
    return seeds;
}

} // namespace zel::seeds
