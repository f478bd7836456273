#include <view/desktop.h>
#include <view/pixels.h>
#include <view/shown_picture.h>

#include <zel/platform/foundation/threads.h>
#include <zel/platform/services/file_icons.h>

#include <QGuiApplication>
#include <QIcon>
#include <QMimeDatabase>
#include <QResource>
#include <QScreen>
#include <QThread>

#include <algorithm>
#include <future>
#include <memory>
#include <mutex>
#include <thread>

namespace zel {
namespace {

constexpr CGFloat largestIcon = 1024; // points

/// The object on the main thread to which tasks are sent; none before and after the application.
struct Loop {
    std::mutex mutex;
    std::unique_ptr<QObject> receiver;
    std::thread::id thread;
};

Loop& loop()
{
    static Loop& instance = *new Loop; // never released: threads may announce something while the process ends
    return instance;
}

void runTask(const std::function<void()>& task)
{
    try {
        task();
    } catch (...) {
        // No exception may cross Qt's event loop; what a task throws is dropped, as on the background pool.
    }
}

void runOnMainLoop(std::function<void()> task)
{
    const std::scoped_lock lock(loop().mutex);
    if (QObject* receiver = loop().receiver.get())
        QMetaObject::invokeMethod(
            receiver, [task = std::move(task)] { runTask(task); }, Qt::QueuedConnection);
}

bool isMainThread()
{
    const std::scoped_lock lock(loop().mutex);
    return loop().thread == std::this_thread::get_id();
}

void announceScreens()
{
    std::vector<CGFloat> factors;
    for (const QScreen* screen : QGuiApplication::screens())
        factors.push_back(screen->devicePixelRatio());
    Screens::set(std::move(factors));
}

void followScreen(QScreen* screen, QObject* receiver)
{
    for (const auto changed : {&QScreen::physicalDotsPerInchChanged, &QScreen::logicalDotsPerInchChanged})
        QObject::connect(screen, changed, receiver, announceScreens);
    QObject::connect(screen, &QScreen::geometryChanged, receiver, announceScreens);
}

void followScreens(QGuiApplication& application, QObject* receiver)
{
    announceScreens();
    for (QScreen* screen : QGuiApplication::screens())
        followScreen(screen, receiver);
    QObject::connect(&application, &QGuiApplication::screenAdded, receiver, [receiver](QScreen* screen) {
        followScreen(screen, receiver);
        announceScreens();
    });
    // The screen still counts while it is being removed: look again afterwards.
    QObject::connect(
        &application, &QGuiApplication::screenRemoved, receiver, [](QScreen*) { announceScreens(); },
        Qt::QueuedConnection);
}

std::optional<Data> resource(std::string_view name)
{
    // QResource looks nowhere but among the resources, whatever the name.
    const QString text = QString::fromUtf8(name.data(), static_cast<qsizetype>(name.size()));
    const QResource found(text.startsWith(QLatin1String(":/")) ? text : QLatin1String(":/") + text);
    if (!found.isValid() || found.size() == 0)
        return std::nullopt;
    const QByteArray bytes = found.uncompressedData();
    if (bytes.isEmpty())
        return std::nullopt;
    return Data(std::vector<std::uint8_t>(bytes.begin(), bytes.end()));
}

Ref<NSImage> themeIcon(const QString& path, CGSize size)
{
    const QMimeType type = QMimeDatabase().mimeTypeForFile(path);
    const QIcon icon = QIcon::fromTheme(type.iconName(), QIcon::fromTheme(type.genericIconName()));
    if (icon.isNull())
        return nullptr;
    const auto side = [](CGFloat wanted) { return wanted >= 1 ? static_cast<int>(std::min(wanted, largestIcon)) : 1; };
    const QSize points(side(size.width), side(size.height));
    const QImage picture = icon.pixmap(points, Screens::displayScale()).toImage();
    return NSImage::make(pixelsOf(picture),
                         CGSize{picture.deviceIndependentSize().width(), picture.deviceIndependentSize().height()});
}

Ref<NSImage> iconOf(const URL& file, CGSize size)
{
    if (!file.isFile())
        return nullptr;
    const QString path = QString::fromStdString(file.filePath().string());
    if (isMainThread())
        return themeIcon(path, size);
    // Icons belong to the main thread. It may itself be waiting for this one: then there is no icon.
    constexpr std::chrono::seconds patience{2};
    const auto found = std::make_shared<std::promise<Ref<NSImage>>>();
    std::future<Ref<NSImage>> result = found->get_future();
    XMain::execute([found, path, size] { found->set_value(themeIcon(path, size)); });
    return result.wait_for(patience) == std::future_status::ready ? result.get() : nullptr;
}

void part()
{
    // The runner stays and drops its tasks: they were meant for this thread, not for those that hand them over.
    Screens::set({});
    Resources::setProvider({});
    FileIcons::setProvider({});
    std::unique_ptr<QObject> gone; // takes the tasks along that never ran, outside the lock: they may announce more
    const std::scoped_lock lock(loop().mutex);
    loop().receiver.swap(gone);
}

} // namespace

void Desktop::join()
{
    auto* application = qobject_cast<QGuiApplication*>(QCoreApplication::instance());
    if (application == nullptr || application->thread() != QThread::currentThread())
        return;
    QObject* receiver = nullptr;
    {
        const std::scoped_lock lock(loop().mutex);
        if (loop().receiver)
            return;
        loop().receiver = std::make_unique<QObject>();
        receiver = loop().receiver.get();
        loop().thread = std::this_thread::get_id();
    }
    ShownPicture::begin();
    followScreens(*application, receiver);
    Resources::setProvider(resource);
    FileIcons::setProvider(iconOf);
    XMain::setRunner(runOnMainLoop, isMainThread);
    qAddPostRoutine(part);
}

} // namespace zel
