// Scrolls through views of all pictures of a folder, by script, and reports what that costs the main thread in our
// code, how many pictures were decoded, and the memory it took. Ends with 1 where a frame took over sixteen
// milliseconds.
//   bench_scroll FOLDER       (QT_QPA_PLATFORM=offscreen where there is no screen)
#include <view/image_view.h>
#include <view/shown_picture.h>

#include <zel/platform/foundation/url.h>

#include <QApplication>
#include <QEventLoop>
#include <QGridLayout>
#include <QScrollArea>
#include <QScrollBar>
#include <QTimer>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

using namespace zel;

namespace {

constexpr double mostInFrame = 16; // milliseconds
constexpr int columns = 4;
constexpr QSize viewSize(230, 170), windowSize(1000, 720);

struct Cost {
    double wall = 0, processor = 0; // milliseconds
    Cost& operator+=(const Cost& other)
    {
        wall += other.wall;
        processor += other.processor;
        return *this;
    }
};

Cost now()
{
    timespec used{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &used);
    const auto wall = std::chrono::steady_clock::now().time_since_epoch();
    return {std::chrono::duration<double, std::milli>(wall).count(),
            static_cast<double>(used.tv_sec) * 1e3 + static_cast<double>(used.tv_nsec) / 1e6};
}

Cost since(const Cost& start)
{
    const Cost end = now();
    return {end.wall - start.wall, end.processor - start.processor};
}

/// Watches what the main loop does: the events of views, the library's tasks for the main thread, and all together.
class Watched : public QApplication {
public:
    using QApplication::QApplication;
    struct Frame {
        Cost ours, all;
    };
    Frame frame;
    Cost longestEvent;

    bool notify(QObject* receiver, QEvent* event) override
    {
        const bool isOurs = qobject_cast<NSImageView*>(receiver) != nullptr ||
                            (event->type() == QEvent::MetaCall && receiver->metaObject() == &QObject::staticMetaObject);
        const bool isOutermost = depth_++ == 0, countsAsOurs = isOurs && !inOurs_;
        inOurs_ = inOurs_ || isOurs;
        const Cost start = now();
        const bool result = QApplication::notify(receiver, event);
        const Cost cost = since(start);
        --depth_;
        if (countsAsOurs) {
            inOurs_ = false;
            frame.ours += cost;
            if (cost.wall > longestEvent.wall)
                longestEvent = cost;
        }
        if (isOutermost)
            frame.all += cost;
        return result;
    }

private:
    int depth_ = 0;
    bool inOurs_ = false;
};

/// Kilobytes.
long memory(const char* which)
{
    std::ifstream status("/proc/self/status");
    for (std::string line; std::getline(status, line);)
        if (line.starts_with(which))
            return std::stol(line.substr(std::strlen(which) + 1));
    return 0;
}

std::vector<URL> filesOf(const char* folder)
{
    std::vector<URL> files;
    for (const auto& entry : std::filesystem::directory_iterator(folder))
        if (entry.is_regular_file())
            files.push_back(URL::file(entry.path().string()));
    std::sort(files.begin(), files.end(), [](const URL& a, const URL& b) { return a.path() < b.path(); });
    return files;
}

/// Where the list stands in each frame: down in even steps, slow and fast, leaps by several pages, and up again.
std::vector<int> script(int bottom)
{
    std::vector<int> places;
    for (int place = 0; place < bottom / 3; place += 25)
        places.push_back(place);
    for (int place = bottom / 3; place < bottom; place += 120)
        places.push_back(place);
    for (int leap = 0; leap < 60; ++leap)
        places.push_back(static_cast<int>(static_cast<long long>(leap) * 7919 % std::max(bottom, 1)));
    for (int place = bottom; place > 0; place -= 200)
        places.push_back(place);
    return places;
}

} // namespace

int main(int count, char** arguments)
{
    Watched application(count, arguments);
    if (count != 2) {
        std::fputs("bench_scroll FOLDER\n", stderr);
        return 2;
    }
    const std::vector<URL> files = filesOf(arguments[1]);
    const long before = memory("VmRSS:");

    QScrollArea area;
    auto* content = new QWidget;
    auto* grid = new QGridLayout(content);
    std::vector<ZelImageView*> views;
    for (std::size_t place = 0; place < files.size(); ++place) {
        views.push_back(new ZelImageView(content));
        views.back()->setFixedSize(viewSize);
        grid->addWidget(views.back(), static_cast<int>(place) / columns, static_cast<int>(place) % columns);
    }
    area.setWidget(content);
    area.resize(windowSize);
    area.show();
    QApplication::processEvents();

    const Cost start = now();
    for (std::size_t place = 0; place < files.size(); ++place)
        views[place]->setImage(files[place], {});
    const Cost asking = since(start);

    std::vector<Watched::Frame> frames;
    application.frame = {};
    application.longestEvent = {};
    QEventLoop loop;
    QTimer clock;
    clock.setTimerType(Qt::PreciseTimer);
    const std::vector<int> places = script(area.verticalScrollBar()->maximum());
    std::size_t next = 0;
    QObject::connect(&clock, &QTimer::timeout, &loop, [&] {
        frames.push_back(std::exchange(application.frame, {}));
        if (next < places.size())
            area.verticalScrollBar()->setValue(places[next++]);
        else
            loop.quit();
    });
    clock.start(static_cast<int>(mostInFrame));
    loop.exec();
    clock.stop();
    const std::size_t whileScrolling = ShownPicture::madeSoFar();
    const auto restSince = std::chrono::steady_clock::now(); // the last place gets what it shows
    while (std::chrono::steady_clock::now() - restSince < std::chrono::seconds(2))
        QApplication::processEvents(QEventLoop::AllEvents, 20);

    const auto longest = [&](auto figure) {
        double most = 0;
        for (const Watched::Frame& frame : frames)
            most = std::max(most, figure(frame));
        return most;
    };
    const double ours = longest([](const auto& frame) { return frame.ours.wall; });
    const auto loaded = std::count_if(views.begin(), views.end(), [](auto* view) { return view->image() != nullptr; });
    std::printf("views                        %zu, %td of them loaded\n", views.size(), loaded);
    std::printf("asking for all images        %.1f ms\n", asking.wall);
    std::printf("frames                       %zu\n", frames.size());
    std::printf("longest frame, our code      %.1f ms (%.1f ms of processor time in the longest)\n", ours,
                longest([](const auto& frame) { return frame.ours.processor; }));
    std::printf("longest frame, whole thread  %.1f ms (%.1f ms)\n",
                longest([](const auto& frame) { return frame.all.wall; }),
                longest([](const auto& frame) { return frame.all.processor; }));
    std::printf("longest single event of ours %.1f ms (%.1f ms)\n", application.longestEvent.wall,
                application.longestEvent.processor);
    std::printf("pictures decoded             %zu while scrolling, %zu at the end\n", whileScrolling,
                ShownPicture::madeSoFar());
    std::printf("memory                       %ld MB at most, %ld MB before\n", memory("VmHWM:") / 1000, before / 1000);
    return ours > mostInFrame ? 1 : 0;
}
