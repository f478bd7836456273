#include <zel/platform/foundation/modules.h>
#include <zel/platform/foundation/notes.h>

#include <foundation/modules/sample_module.h>

#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <thread>

namespace zel {
namespace {

using testing::SampleModule;
namespace fs = std::filesystem;

/// A file among the modules while the test runs.
class ModuleFile {
public:
    explicit ModuleFile(const std::string& name) : path_(fs::path(moduleFolders().front()) / name) {}
    ~ModuleFile() { fs::remove(path_); }
    ModuleFile(const ModuleFile&) = delete;
    ModuleFile& operator=(const ModuleFile&) = delete;
    [[nodiscard]] const fs::path& path() const { return path_; }

private:
    fs::path path_;
};

struct OtherVersion {
    static constexpr std::uint32_t version = SampleModule::version + 1;
};

TEST(Modules, AreOpenedOnceAndWork)
{
    const auto* module = openModule<SampleModule>("sample", "libsample");
    ASSERT_NE(module, nullptr);
    EXPECT_EQ(module->twice(21), 42);
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread)
        threads.emplace_back([&] { EXPECT_EQ(openModule<SampleModule>("sample", "libsample"), module); });
    for (std::thread& thread : threads)
        thread.join();
}

TEST(Modules, ThatAreMissingNameTheirPackageAndAreTriedAgain)
{
    // What is open stays open: a name of its own each time that the test runs.
    static int run = 0;
    const std::string name = "late" + std::to_string(++run);
    ZelFailure::clear();
    EXPECT_EQ(openModule<SampleModule>(name, "libzelimaging-late"), nullptr);
    EXPECT_EQ(ZelFailure::last().code, ZelFailureCode::missingPart);
    EXPECT_EQ(ZelFailure::last().message,
              "zel-" + name + ".so is not installed: install the package libzelimaging-late");
    const ModuleFile late("zel-" + name + ".so");
    fs::copy_file(late.path().parent_path() / "zel-sample.so", late.path());
    const auto* module = openModule<SampleModule>(name, "libzelimaging-late");
    ASSERT_NE(module, nullptr);
    EXPECT_EQ(module->twice(3), 6);
}

TEST(Modules, ThatCannotBeLoadedSayWhy)
{
    const ModuleFile broken("zel-broken.so");
    std::ofstream(broken.path()) << "this is no library";
    ZelFailure::clear();
    EXPECT_EQ(openModule<SampleModule>("broken", "libbroken"), nullptr);
    EXPECT_EQ(ZelFailure::last().code, ZelFailureCode::missingPart);
    EXPECT_THAT(ZelFailure::last().message,
                ::testing::AllOf(::testing::HasSubstr("cannot be loaded"), ::testing::HasSubstr("libbroken")));
}

TEST(Modules, OfAnotherVersionAreNotUsed)
{
    const ModuleFile other("zel-other.so");
    fs::copy_file(other.path().parent_path() / "zel-sample.so", other.path());
    ZelFailure::clear();
    EXPECT_EQ(openModule<OtherVersion>("other", "libother"), nullptr);
    EXPECT_EQ(ZelFailure::last().message, "zel-other.so is of another version: install the package libother");
}

TEST(Modules, NeverLeaveTheirFolders)
{
    EXPECT_EQ(openModule("../zelimaging/zel-sample", "x", SampleModule::version), nullptr);
    EXPECT_EQ(ZelFailure::last().code, ZelFailureCode::missingPart);
    for (const std::string& folder : moduleFolders())
        EXPECT_TRUE(folder.starts_with('/')) << folder;
}

} // namespace
} // namespace zel
