#include <zel/platform/foundation/notes.h>
#include <zel/platform/services/services.h>

#include <foundation/failing_files.h>
#include <foundation/temporary_folder.h>

#include <cstdlib>
#include <gtest/gtest.h>

namespace zel {
namespace {

using testing::FailingFiles;
using testing::TemporaryFolder;
namespace fs = std::filesystem;

TEST(ShareApp, TakesFilesInAndFindsThem)
{
    const TemporaryFolder folder;
    const URL photo = folder.put("photo.JPG", "picture");
    const ZelShareApp store(folder.url("content/of/app"));
    std::vector<double> progress;
    const std::string id =
        store.ingestAndGetId({.fileAtUrl = photo, .progress = [&](double fraction) { progress.push_back(fraction); }})
            .get();
    EXPECT_TRUE(id.ends_with(".jpg")) << id;
    ASSERT_FALSE(progress.empty());
    EXPECT_EQ(progress.back(), 1);
    const std::optional<URL> found = store.url({.forId = id}).get();
    ASSERT_TRUE(found);
    EXPECT_EQ(Data::read(*found), Data::read(photo));
    const std::string second = store.ingestAndGetId({.fileAtUrl = photo}).get();
    EXPECT_NE(second, id);
    // What happens to the original afterwards is no matter of the store's.
    fs::remove(folder / "photo.JPG");
    EXPECT_TRUE(store.url({.forId = second, .downloadRemote = true}).get());
    EXPECT_EQ(ZelShareApp(folder.url("content/of/app")).url({.forId = id}).get(), found);
}

TEST(ShareApp, KeepsUsualExtensionsOnly)
{
    const TemporaryFolder folder;
    const ZelShareApp store(folder.url("store"));
    const std::pair<const char*, const char*> cases[] = {
        {"a.png", ".png"}, {"a.tar.GZ", ".gz"},         {"a", ""},     {".hidden", ""},
        {"a.", ""},        {"a.verylongextension", ""}, {"a.p g", ""}, {"a.\xC3\xA9", ""},
    };
    for (const auto& [name, extension] : cases) {
        const std::string id = store.ingestAndGetId({.fileAtUrl = folder.put(name, "x")}).get();
        ASSERT_FALSE(id.empty()) << name;
        EXPECT_EQ(fs::path(id).extension(), extension) << name;
        EXPECT_TRUE(store.url({.forId = id}).get()) << name;
    }
}

TEST(ShareApp, GivesNoIdentifierForWhatCannotBeTakenIn)
{
    const TemporaryFolder folder;
    const URL photo = folder.put("photo.jpg", "picture");
    const ZelShareApp store(folder.url("store"));
    struct Case {
        const char* name;
        ZelShareApp store;
        URL file;
        ZelFailureCode code;
    };
    const Case cases[] = {
        {"missing", store, folder.url("missing"), ZelFailureCode::notFound},
        {"a folder", store, URL::file(folder.path()), ZelFailureCode::unreadable},
        {"a web address", store, *URL::parse("http://host/x.png"), ZelFailureCode::invalidArgument},
        {"no store", ZelShareApp(URL()), photo, ZelFailureCode::invalidArgument},
        {"a store below a file", ZelShareApp(folder.url("photo.jpg/store")), photo, ZelFailureCode::writeFailed},
    };
    for (const Case& row : cases) {
        SCOPED_TRACE(row.name);
        const ZelReport report;
        EXPECT_EQ(row.store.ingestAndGetId({.fileAtUrl = row.file}).get(), "");
        ASSERT_EQ(report.notes().size(), 1U);
        EXPECT_EQ(report.notes()[0].code, row.code);
    }
    const ZelReport report;
    EXPECT_NE(store.ingestAndGetId({.fileAtUrl = photo, .upload = true}).get(), "");
    ASSERT_EQ(report.notes().size(), 1U);
    EXPECT_EQ(report.notes()[0].severity, ZelSeverity::warning);
}

TEST(ShareApp, FindsNothingOutsideItsFolder)
{
    const TemporaryFolder folder;
    folder.put("secret", "private");
    fs::create_directories(folder / "store/sub");
    folder.put("store/sub/file", "x");
    folder.put("store/own", "x");
    fs::create_symlink(folder / "secret", folder / "store/link");
    const ZelShareApp store(folder.url("store"));
    EXPECT_TRUE(store.url({.forId = "own"}).get());
    for (const char* id : {"", ".", "..", "../secret", "/etc/passwd", "sub", "sub/file", "link", "missing", "own/"})
        EXPECT_FALSE(store.url({.forId = id}).get()) << id;
    EXPECT_FALSE(store.url({.forId = std::string("own\0x", 5)}).get());
    EXPECT_FALSE(store.url({.forId = std::string(5'000, 'n')}).get());
    EXPECT_FALSE(ZelShareApp(URL()).url({.forId = "own"}).get());
    EXPECT_FALSE(ZelShareApp(*URL::parse("http://host/store")).url({.forId = "own"}).get());
}

TEST(ShareApp, SurvivesEveryFailingCall)
{
    const TemporaryFolder folder(true);
    const URL photo = folder.put("photo.jpg", "picture");
    const ZelShareApp store(folder.url("store"));
    for (int nth = 1, done = 0; done == 0; ++nth) {
        SCOPED_TRACE(nth);
        std::string id;
        {
            const FailingFiles failing({.nth = nth});
            id = store.ingestAndGetId({.fileAtUrl = photo}).get();
            done = failing.fired() ? 0 : 1;
        }
        const std::optional<URL> found = store.url({.forId = id}).get();
        EXPECT_EQ(found.has_value(), !id.empty());
        if (fs::exists(folder / "store")) {
            // The file that was taken in, and nothing half done.
            EXPECT_EQ(std::distance(fs::directory_iterator(folder / "store"), fs::directory_iterator()),
                      id.empty() ? 0 : 1);
        }
        fs::remove_all(folder / "store");
    }
}

/// An environment variable as a test wants it, and afterwards as it was.
class Variable {
public:
    Variable(const char* name, const char* value) : name_(name)
    {
        if (const char* before = std::getenv(name))
            before_ = before;
        set(value);
    }
    ~Variable() { set(before_ ? before_->c_str() : nullptr); }
    Variable(const Variable&) = delete;
    Variable& operator=(const Variable&) = delete;

private:
    void set(const char* value) const
    {
        if (value != nullptr)
            setenv(name_, value, 1);
        else
            unsetenv(name_);
    }
    const char* name_;
    std::optional<std::string> before_;
};

TEST(Folders, FollowTheRulesOfTheDesktop)
{
    const auto folders = [] {
        return Folders::data().filePath().string() + " " + Folders::caches().filePath().string();
    };
    const Variable home("HOME", "/people/someone"), data("XDG_DATA_HOME", nullptr), caches("XDG_CACHE_HOME", nullptr);
    EXPECT_EQ(folders(), "/people/someone/.local/share/test_services /people/someone/.cache/test_services");
    Folders::setApplication("Photo Desk");
    EXPECT_EQ(folders(), "/people/someone/.local/share/Photo Desk /people/someone/.cache/Photo Desk");
    {
        const Variable elsewhere("XDG_DATA_HOME", "/data"), other("XDG_CACHE_HOME", "/fast/cache/");
        EXPECT_EQ(folders(), "/data/Photo Desk /fast/cache/Photo Desk");
    }
    {
        const Variable relative("XDG_DATA_HOME", "data"), empty("XDG_CACHE_HOME", "");
        EXPECT_EQ(folders(), "/people/someone/.local/share/Photo Desk /people/someone/.cache/Photo Desk");
    }
    for (const char* name : {"", "..", "a/b", "."}) {
        ZelFailure::clear();
        Folders::setApplication(name);
        EXPECT_EQ(ZelFailure::last().code, ZelFailureCode::invalidArgument) << name;
    }
    EXPECT_EQ(Folders::data().filePath(), "/people/someone/.local/share/Photo Desk");
    const Variable none("HOME", nullptr);
    EXPECT_TRUE(Folders::data().isFile()); // the home that the system's accounts tell
}

} // namespace
} // namespace zel
