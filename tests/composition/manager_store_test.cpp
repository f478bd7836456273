#include <composition/manager_fixture.h>

#include <zel/platform/foundation/failure.h>

#include <foundation/child_process.h>
#include <foundation/failing_files.h>

#include <chrono>
#include <cstdlib>
#include <limits>
#include <random>
#include <thread>

namespace zel::testing {
namespace {

/// A list whose one composer has that name.
std::vector<ZelComposer> named(const std::string& name)
{
    ZelComposer composer;
    composer.id = "id";
    composer.name = name;
    return {composer};
}

/// Of what `load` gives; "nothing" where it gives nothing.
std::string loadedName()
{
    const Ref<ZelComposerManager> loaded = ZelComposerManager::load();
    return loaded ? loaded->composerList().at(0).name : "nothing";
}

TEST_F(ManagerTest, RestoresListAndSelectionButNotTheConfiguration)
{
    EXPECT_EQ(loadedName(), "nothing");
    manager->setConfigurationName("Mine");
    manager->setComposerList(named("x"));
    manager->setSelectedComposerId("id");
    const int before = saves;
    const auto restored = makeZelComposerManager({.appName = "Demo"});
    EXPECT_EQ(ZelComposerManager::appName(), "Demo");
    EXPECT_EQ(restored->configurationName(), "Default");
    ASSERT_TRUE(restored->selectedComposer());
    EXPECT_EQ(restored->selectedComposer()->name, "x");
    EXPECT_EQ(saves, before);
    EXPECT_EQ(encode(ZelComposerManager::load()), encode(manager));
    EXPECT_EQ(encode(decode<Ref<ZelComposerManager>>(encode(manager))), encode(manager));
    for (const char* text : {R"({"composerList":[]})", R"({"configurationName":"x"})", "[]"})
        EXPECT_THROW(decode<Ref<ZelComposerManager>>(text), ZelDecodingError) << text;
}

TEST_F(ManagerTest, WritesAStateOnce)
{
    manager->setComposerList(named("x"));
    manager->flush();
    FailingFiles files({.call = FileCall::rename, .error = 0});
    manager->save();
    EXPECT_EQ(files.calls(), 0);
    EXPECT_EQ(saves, 2);
    manager->setComposerList(named("y"));
    EXPECT_EQ(files.calls(), 1);
}

TEST_F(ManagerTest, SetsDamagedStoresAsideAndOffersTheCopy)
{
    manager->setComposerList(named("good"));
    manager->flush();
    for (const auto& [number, text] : {std::pair(1, "{"), std::pair(2, ""), std::pair(3, R"({"composerList":5})")}) {
        folder.put("app/ZelComposerManager.json", text);
        const ZelReport report;
        EXPECT_EQ(loadedName(), "good");
        ASSERT_FALSE(report.notes().empty());
        EXPECT_EQ(report.notes()[0].severity, ZelSeverity::failure);
        EXPECT_EQ(report.notes()[0].code, ZelFailureCode::unreadable);
        EXPECT_EQ(stored(".json.damaged-" + std::to_string(number)), text);
        EXPECT_EQ(loadedName(), "good") << "again";
    }
    // Nobody has loaded this one: the next save must not be its end.
    manager->setComposerList(named("new"));
    manager->flush();
    folder.put("app/ZelComposerManager.json", "unseen");
    manager->setComposerList(named("newer"));
    EXPECT_EQ(stored(".json.damaged-4"), "unseen");
    EXPECT_EQ(loadedName(), "newer");
}

TEST_F(ManagerTest, KeepsWhatAnotherProcessSaved)
{
    manager->setComposerList(named("mine"));
    const std::string theirs = R"({"configurationName":"theirs","composerList":[]})";
    folder.put("app/ZelComposerManager.json", theirs);
    const ZelReport report;
    manager->setComposerList(named("mine again"));
    EXPECT_EQ(loadedName(), "mine again");
    EXPECT_EQ(stored(".json.bak"), theirs);
    ASSERT_EQ(report.notes().size(), 1U);
    EXPECT_EQ(report.notes()[0].severity, ZelSeverity::warning);
}

TEST_F(ManagerTest, KeepsTheOldStateWhereTheNewOneCannotBeSaved)
{
    manager->setComposerList(named("old"));
    manager->flush();
    for (const FileCall call : {FileCall::write, FileCall::rename, FileCall::open}) {
        const ZelReport report;
        {
            const FailingFiles files({.call = call, .times = -1, .error = ENOSPC});
            manager->setComposerList(named("new"));
        }
        EXPECT_EQ(loadedName(), "old");
        ASSERT_FALSE(report.notes().empty());
        EXPECT_EQ(report.notes()[0].code, ZelFailureCode::writeFailed);
    }
    const ZelReport report;
    manager->changeComposerList([](auto& list) { list[0].ratio = std::numeric_limits<double>::infinity(); });
    EXPECT_EQ(loadedName(), "old");
    ASSERT_EQ(report.notes().size(), 1U);
    EXPECT_EQ(report.notes()[0].code, ZelFailureCode::invalidArgument);
}

TEST_F(ManagerTest, KeepsNamedConfigurations)
{
    manager->setComposerList(named("x"));
    manager->saveConfiguration({.withName = "First one"});
    manager->setComposerList(named("y"));
    manager->saveConfiguration({.withName = "second"});
    folder.put("app/ZelComposerManager/broken.json", "{");
    folder.put("app/ZelComposerManager/other.txt", "{");
    const auto names = [] {
        std::string all;
        for (const auto& [name, one] : ZelComposerManager::configurations())
            all += name + "=" + one->composerList().at(0).name + " ";
        return all;
    };
    EXPECT_EQ(names(), "First one=x second=y ");
    manager->saveConfiguration({.withName = "broken"});
    EXPECT_EQ(folder.text("app/ZelComposerManager/broken.json.damaged-1"), "{");
    for (const char* name : {"", ".", "..", "a/b", "../ZelComposerManager", "/x"}) {
        const ZelReport report;
        manager->saveConfiguration({.withName = name});
        ZelComposerManager::deleteConfiguration({.withName = name});
        ASSERT_EQ(report.notes().size(), 2U) << name;
        EXPECT_EQ(report.notes()[0].code, ZelFailureCode::invalidArgument);
    }
    ZelComposerManager::deleteConfiguration({.withName = "First one"});
    ZelComposerManager::deleteConfiguration({.withName = "never there"});
    EXPECT_EQ(names(), "broken=y second=y ");
    EXPECT_EQ(loadedName(), "y");
}

#ifndef ZEL_TEST_THREAD_SANITIZER // which does not follow children of a process with threads

/// Saves "1", "2", … and tells each number before and after.
int saveForEver(ZelComposerManager& manager, int pipe)
{
    for (std::uint32_t number = 1;; ++number) {
        manager.setComposerList(named(std::to_string(number)));
        if (write(pipe, &number, sizeof number) != static_cast<ssize_t>(sizeof number))
            return 1;
    }
}

/// Of a child that saves; more where ZEL_KILLS says so.
int killsWanted()
{
    const char* const wanted = std::getenv("ZEL_KILLS");
    return wanted == nullptr ? 60 : std::atoi(wanted);
}

TEST_F(ManagerTest, LastOrLastButOneStateSurvivesKills)
{
    std::mt19937 random(static_cast<unsigned>(std::chrono::steady_clock::now().time_since_epoch().count()));
    const int rounds = killsWanted();
    for (int round = 0; round < rounds; ++round) {
        int ends[2] = {-1, -1};
        ASSERT_EQ(pipe(ends), 0);
        {
            ChildProcess child([&] { return saveForEver(*manager, ends[1]); });
            close(ends[1]);
            std::uint32_t first = 0;
            ASSERT_EQ(read(ends[0], &first, sizeof first), static_cast<ssize_t>(sizeof first));
            // Now and then after the background has brought a state to the disk.
            std::this_thread::sleep_for(std::chrono::microseconds(random() % (round % 10 == 9 ? 600'000 : 20'000)));
            child.killNow();
        }
        std::uint32_t last = 1, next = 0;
        while (read(ends[0], &next, sizeof next) == static_cast<ssize_t>(sizeof next))
            last = next;
        close(ends[0]);
        // What was told is there; the save after it may be.
        const std::string name = loadedName();
        EXPECT_TRUE(name == std::to_string(last) || name == std::to_string(last + 1)) << name << " after " << last;
        EXPECT_EQ(stored(".json.damaged-1"), "absent");
    }
}

#endif

} // namespace
} // namespace zel::testing
