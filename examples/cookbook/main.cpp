// Runs every recipe of the cook book in a folder of its own and looks at what each has made, or draws the pictures that
// README shows.
//   cookbook
//   cookbook --sheets FOLDER
#include "recipes.h"
#include "scenes.h"

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string_view>
#include <unistd.h>

using namespace zel;
using namespace cookbook;

namespace {

/// A folder that goes with the program.
class Folder {
public:
    Folder()
    {
        std::string pattern = (std::filesystem::temp_directory_path() / "cookbook-XXXXXX").string();
        path_ = mkdtemp(pattern.data()) == nullptr ? "." : pattern;
        setenv("XDG_CACHE_HOME", (path_ / "caches").c_str(), 1);
    }
    ~Folder()
    {
        std::error_code ignored;
        if (path_ != ".")
            std::filesystem::remove_all(path_, ignored);
    }
    Folder(const Folder&) = delete;
    Folder& operator=(const Folder&) = delete;
    [[nodiscard]] URL operator/(const char* name) const { return URL::file(path_ / name); }

private:
    std::filesystem::path path_;
};

std::int64_t bytesOf(const URL& file)
{
    std::error_code failed;
    const auto size = std::filesystem::file_size(file.filePath(), failed);
    return failed ? -1 : static_cast<std::int64_t>(size);
}

/// A JPEG with the day on which it was taken, as a camera writes it.
bool saveAsCamera(const Ref<ZelImage>& image, const URL& file)
{
    const std::optional<Data> jpeg = jpegData(image, {.quality = 0.9});
    if (!jpeg)
        return false;
    using namespace std::string_view_literals;
    const std::string_view exif = "\xFF\xE1\x00\x4C"
                                  "Exif\0\0"
                                  "II*\0\x08\0\0\0"
                                  "\x01\0\x69\x87\x04\0\x01\0\0\0\x1A\0\0\0\0\0\0\0" // where the group of the camera is
                                  "\x01\0\x03\x90\x02\0\x14\0\0\0\x2C\0\0\0\0\0\0\0" // DateTimeOriginal
                                  "2024:06:21 12:00:00\0"
                                  "\0\0\0\0"sv;
    std::ofstream out(file.filePath(), std::ios::binary);
    const auto* const bytes = reinterpret_cast<const char*>(jpeg->data());
    out.write(bytes, 2).write(exif.data(), static_cast<std::streamsize>(exif.size()));
    out.write(bytes + 2, static_cast<std::streamsize>(jpeg->size()) - 2);
    return out.good();
}

bool isAt(const Ref<ZelImage>& image, std::int64_t x, std::int64_t y, const Ref<ZelImage>& other)
{
    const auto at = [&](const Ref<ZelImage>& picture) {
        return ZelColor(ZelImageHelper::getColor({.ofImage = picture, .x = x, .y = y}));
    };
    return distance(at(image), {.to = at(other)}) < 0.03F;
}

/// The row in which the sea begins, or what is as dark.
int horizonAt(const Ref<ZelImage>& image, std::int64_t x)
{
    int row = static_cast<int>(image->size.height * 0.3);
    while (row < static_cast<int>(image->size.height) &&
           ZelImageHelper::getColor({.ofImage = image, .x = x, .y = row}).redComponent > 0.6)
        ++row;
    return row;
}

int slopeOf(const Ref<ZelImage>& image)
{
    const auto width = static_cast<std::int64_t>(image->size.width);
    return horizonAt(image, width / 10) - horizonAt(image, width * 9 / 10);
}

/// Colours that only the screen has.
double shareOfGreen(const Ref<ZelImage>& image)
{
    const ZelContextImage pixels(image);
    std::int64_t green = 0;
    for (std::int64_t y = 0; y < pixels.height; ++y)
        for (std::int64_t x = 0; x < pixels.width; ++x) {
            const auto [r, g, b, a] = pixels.getPixelColorComponents({.x = x, .y = y});
            green += g > 100 && g > 2 * std::max(r, b) ? 1 : 0;
        }
    return static_cast<double>(green) / static_cast<double>(pixels.width * pixels.height);
}

struct Check {
    const char* recipe;
    bool isRight;
};

std::vector<Check> runAll(const Folder& folder)
{
    const Ref<ZelImage> photo = seaside(1000);
    std::vector<Check> checks{
        {"pictures", saveAsCamera(photo, folder / "photo.jpg") && saveToPNG(logo(), {.url = folder / "logo.png"})}};
    const auto add = [&](const char* recipe, bool isRight) { checks.push_back({recipe, isRight}); };

    const bool isSmall = makeThumbnail(folder / "photo.jpg", folder / "small.jpg");
    const Ref<ZelImage> small = makeZelImage(folder / "small.jpg");
    add("thumbnail", isSmall && small->size == CGSize{256, 170});

    const bool isWithin = saveWithin(folder / "photo.jpg", folder / "within.jpg", 40'000);
    add("byte_limit", isWithin && std::abs(bytesOf(folder / "within.jpg") - 39'000) < 1'500);

    const bool isMarked = putLogoInCorner(folder / "photo.jpg", folder / "logo.png", folder / "marked.png");
    const Ref<ZelImage> marked = makeZelImage(folder / "marked.png"), plain = makeZelImage(folder / "photo.jpg");
    add("logo_in_corner", isMarked && isAt(marked, 100, 100, plain) && !isAt(marked, 1400, 900, plain));

    const Ref<ZelImage> ground = seaside(600), placed = placeBefore(balloon(), ground);
    add("green_screen", placed && placed->size == ground->size && shareOfGreen(balloon()) > 0.4 &&
                            shareOfGreen(placed) < 0.002 && isAt(placed, 20, 20, ground) &&
                            !isAt(placed, 450, 200, ground));

    const std::vector<Ref<ZelImage>> subjects = cutOut(shapes());
    add("subjects", subjects.size() == 5 && subjects[0]->size.width < 300);

    const Ref<ZelImage> slanting = seaside(400, 6), level = levelAndLighten(slanting, 6);
    const auto light = [](const Ref<ZelImage>& image) {
        return ZelImageHelper::getColorAverage(ZelImageHelper::getAverageColorOfImage(image));
    };
    add("grading", level && level->size == slanting->size && std::abs(slopeOf(slanting)) > 30 &&
                       std::abs(slopeOf(level)) < 6 && light(level) > light(slanting) + 0.03F);

    const Ref<ZelImage> square = squareOf(photo, {.x = 630, .y = 400}, 2);
    add("square", square && square->size == CGSize{500, 500} &&
                      isAt(square, 250, 250, crop(photo, {.to = {{380, 150}, {500, 500}}})));

    add("facts", tell(folder / "photo.jpg") == "1500x1000 pixels, 3:2, taken in 2024, rather blue");

    std::vector<std::string> remarks;
    std::ofstream(folder.operator/("words.jpg").filePath()) << "no picture at all";
    const bool isRefused = !openForeign(folder / "words.jpg", remarks) && remarks.size() == 1;
    std::filesystem::resize_file((folder / "small.jpg").filePath(),
                                 static_cast<std::uintmax_t>(bytesOf(folder / "small.jpg") / 2));
    const Ref<ZelImage> half = openForeign(folder / "small.jpg", remarks);
    add("strangers", isRefused && half && remarks.size() == 2);

    std::stop_source stop;
    const bool isStopped =
        !resizeUntilStopped(folder / "photo.jpg", folder / "stopped.png", stop, [&](double fraction) {
            if (fraction > 0.2)
                stop.request_stop();
        });
    const bool isCancelled = ZelFailure::last().code == ZelFailureCode::cancelled;
    std::stop_source never;
    add("stopping", isStopped && isCancelled && bytesOf(folder / "stopped.png") < 0 &&
                        resizeUntilStopped(folder / "photo.jpg", folder / "done.png", never, {}));

    const Ref<ZelImage> canvas = drawDocument(makeDocument(folder / "photo.jpg", folder / "logo.png"));
    add("document", canvas && canvas->size == CGSize{600, 400} && !isAt(canvas, 480, 300, seaside(400)) &&
                        isAt(canvas, 60, 60, seaside(400)));

    const Ref<ZelImage> first = previewOf(folder / "photo.jpg");
    std::filesystem::remove((folder / "photo.jpg").filePath());
    add("previews", first && first->size.width == 320 && previewOf(folder / "photo.jpg") == first);
    return checks;
}

Ref<ZelImage> checkered(int width, int height)
{
    ZelImageBitmapRGBA bitmap({.width = width, .height = height});
    for (std::int64_t y = 0; y < height; ++y)
        for (std::int64_t x = 0; x < width; ++x) {
            const std::uint8_t grey = (x / 10 + y / 10) % 2 == 0 ? 226 : 252;
            bitmap.setPixel({.x = x, .y = y, .r = grey, .g = grey, .b = grey, .a = 255});
        }
    return bitmap.zelImage();
}

/// Pictures of one height beside one another.
Ref<ZelImage> beside(const std::vector<Ref<ZelImage>>& pictures)
{
    constexpr double gap = 16;
    double width = -gap;
    for (const Ref<ZelImage>& picture : pictures)
        width += picture->size.width + gap;
    const double height = pictures.front()->size.height;
    ZelCanvas canvas(ZelCanvas::Size(CGSize{width, height}));
    canvas.layerList = {ZelCanvasLayer(
        {.id = "paper",
         .source = {.identification = ZelCanvasLayer::Source::Identification::image,
                    .image = ZelImageHelper::getFillColorImage({.color = {1, 1, 1, 1}, .size = {width, height}})}})};
    double left = 0;
    for (const Ref<ZelImage>& picture : pictures) {
        canvas.layerList.push_back(ZelCanvasLayer(
            {.id = "",
             .source = {.identification = ZelCanvasLayer::Source::Identification::image, .image = picture},
             .spatialConforming = ZelSpatialConforming::none,
             .transform = {.position = {(left + picture->size.width / 2) / width, 0.5}}}));
        left += picture->size.width + gap;
    }
    return canvas.getImage();
}

Ref<ZelImage> laidOn(const Ref<ZelImage>& ground, const Ref<ZelImage>& picture, double scale)
{
    const ZelWatermark middle{.position = ZelWatermark::Position::center,
                              .scale = {.policy = ZelWatermark::Scale::Policy::largestSideScale, .scale = scale}};
    return watermark(ground, {.with = picture, .using_ = middle});
}

bool drawSheets(const std::string& folder)
{
    const auto save = [&](const char* name, const std::vector<Ref<ZelImage>>& pictures) {
        return saveToJpeg(beside(pictures), {.quality = 0.9, .url = URL::file(std::filesystem::path(folder) / name)});
    };
    const Ref<ZelImage> screen = resize(balloon(), {.to = {220, 220}});
    std::vector<Ref<ZelImage>> cut{resize(shapes(), {.to = {330, 220}})};
    for (const Ref<ZelImage>& subject : cutOut(shapes()))
        cut.push_back(laidOn(checkered(90, 220), subject, 0.9));
    return save("key.jpg", {screen, placeBefore(screen, checkered(220, 220)), placeBefore(balloon(), seaside(220))}) &&
           save("subjects.jpg", cut) && save("level.jpg", {seaside(220, 6), levelAndLighten(seaside(220, 6), 6)});
}

} // namespace

int main(int count, char** arguments)
{
    Console::setSink({}); // what savers tell of their searches is not for this page
    if (count == 3 && std::string_view(arguments[1]) == "--sheets")
        return drawSheets(arguments[2]) ? 0 : 1;
    const Folder folder;
    int wrong = 0;
    for (const Check& check : runAll(folder)) {
        std::cout << check.recipe << (check.isRight ? ": as it should be\n" : ": WRONG\n");
        wrong += check.isRight ? 0 : 1;
    }
    return wrong == 0 ? 0 : 1;
}
