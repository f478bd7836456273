// A window with views in each of their states, beside one another, with what each of them should show. With a file's
// name it takes a picture of the screen once everything has settled, and ends: scripts/screenshots-view does so.
//   view_states [PICTURE.png]
#include <view/image_view.h>
#include <zel/zel.h>

#include <QApplication>
#include <QGridLayout>
#include <QLabel>
#include <QScreen>
#include <QTemporaryDir>
#include <QTimer>

#include <arpa/inet.h>
#include <sys/socket.h>

#include <functional>
#include <string>

using namespace zel;

namespace {

/// Every pixel as a function of its place says: alpha, red, green, blue.
Ref<ZelImage> painted(int width, int height, const std::function<std::array<int, 4>(int x, int y)>& pixel)
{
    ZelImageBitmapRGBA bitmap({.width = width, .height = height});
    std::size_t at = 0;
    for (int y = 0; y < height; ++y)
        for (int x = 0; x < width; ++x)
            for (const int component : pixel(x, y))
                bitmap.bytes()[at++] = static_cast<std::uint8_t>(component);
    return bitmap.zelImage();
}

/// Red grows to the right, green downward, with a ring in the middle.
Ref<ZelImage> photograph(int blue)
{
    return painted(1200, 800, [blue](int x, int y) {
        const int fromMiddle = (x - 600) * (x - 600) + (y - 400) * (y - 400);
        const bool isRing = fromMiddle > 250 * 250 && fromMiddle < 300 * 300;
        return std::array{255, isRing ? 255 : x * 255 / 1200, isRing ? 255 : y * 255 / 800, blue};
    });
}

/// Where connections are taken and nothing is ever answered.
std::string silentAddress()
{
    const int socket = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto* const name = reinterpret_cast<sockaddr*>(&address);
    if (::bind(socket, name, size) != 0 || ::listen(socket, 8) != 0 || ::getsockname(socket, name, &size) != 0)
        return "http://127.0.0.1:9";
    return "http://127.0.0.1:" + std::to_string(ntohs(address.sin_port)); // open until the program ends
}

struct State {
    const char* title;
    std::function<void(ZelImageView& view)> begin;
};

} // namespace

int main(int count, char** arguments)
{
    QApplication application(count, arguments);
    const QTemporaryDir folder;
    const auto file = [&](const char* name) { return URL::file(folder.filePath(name).toStdString()); };
    if (!saveToPNG(photograph(60), {.url = file("photo.png")}) ||
        !saveToPNG(photograph(220), {.url = file("late.png")}))
        return 1;
    const Ref<ZelImage> waiting = painted(120, 80, [](int x, int y) {
        const int grey = (x / 8 + y / 8) % 2 == 0 ? 170 : 210;
        return std::array{255, grey, grey, grey};
    });
    const Ref<ZelImage> old = painted(160, 100, [](int, int) { return std::array{255, 200, 40, 40}; });
    const Ref<ZelImage> board = painted(160, 160, [](int x, int y) {
        const int grey = (x + y) % 2 == 0 ? 0 : 255;
        return std::array{255, grey, grey, grey};
    });
    const std::string silent = silentAddress();

    const State states[] = {
        {"placeholder", [&](auto& view) { view.setImage(std::nullopt, {waiting}); }},
        {"cleared on a miss\n(was red)",
         [&](auto& view) {
             view.setShownImage(old->image);
             view.setImage({.httpPath = silent + "/never.png"});
         }},
        {"loaded", [&](auto& view) { view.setImage(file("photo.png"), {waiting}); }},
        {"invalid text:\nthe placeholder",
         [&](auto& view) { view.setImage({.httpPath = "words", .placeholder = waiting}); }},
        {"failed download:\nthe placeholder",
         [&](auto& view) { view.setImage({.httpPath = "http://127.0.0.1:9/a.png", .placeholder = waiting}); }},
        {"the last address wins\n(green, not blue)",
         [&](auto& view) {
             view.setImage(file("late.png"), {});
             view.setImage(file("photo.png"), {});
         }},
        {"nothing: the old image\n(red)",
         [&](auto& view) {
             view.setShownImage(old->image);
             view.setImage(std::nullopt, {});
         }},
        {"radius 24, border 3",
         [&](auto& view) {
             view.setRadius(24);
             view.setBorder(3);
             view.setBorderColor(QColor(30, 90, 200));
             view.setShownImage(photograph(60)->image);
         }},
        {"no radius",
         [&](auto& view) {
             view.setRadius(0);
             view.setImage(file("photo.png"), {});
         }},
        {"every pixel of a board\nof 160 x 160",
         [&](auto& view) {
             const double scale = view.devicePixelRatioF();
             view.setRadius(0);
             view.setShownImage(NSImage::make(board->cgImage, {160 / scale, 160 / scale}));
         }},
    };
    QWidget window;
    window.setStyleSheet("background-color: white; color: black");
    QGridLayout grid(&window);
    int place = 0;
    for (const State& state : states) {
        auto* view = new ZelImageView;
        view->setFixedSize(180, 180);
        grid.addWidget(view, place / 5 * 2, place % 5);
        grid.addWidget(new QLabel(state.title), place / 5 * 2 + 1, place % 5);
        state.begin(*view);
        ++place;
    }
    // Loaded by then: shown from the cache, without being cleared first.
    auto* second = new ZelImageView;
    second->setFixedSize(180, 180);
    second->setShownImage(old->image);
    grid.addWidget(second, 4, 0);
    auto* note = new QLabel("second call");
    grid.addWidget(note, 5, 0);
    QTimer::singleShot(1500, second, [&] {
        second->setImage(file("photo.png"), {});
        note->setText(second->image() == old->image ? "cached: not cleared first" : "cached: CLEARED FIRST");
    });
    window.show();
    if (count > 1)
        QTimer::singleShot(3000, &window, [&] {
            const bool isSaved = QGuiApplication::primaryScreen()->grabWindow(window.winId()).save(arguments[1]);
            QApplication::exit(isSaved ? 0 : 1);
        });
    return QApplication::exec();
}
