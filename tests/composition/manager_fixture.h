#pragma once
#include <zel/composition/manager.h>

#include <foundation/temporary_folder.h>

#include <gtest/gtest.h>

#include <atomic>

namespace zel::testing {

/// Managers whose documents lie in a folder of the test's own; counts saves and announcements.
class ManagerTest : public ::testing::Test {
protected:
    using Layer = ZelComposer::Layer;

    void SetUp() override
    {
        if (const char* before = std::getenv("XDG_DATA_HOME"))
            before_ = before;
        setenv("XDG_DATA_HOME", folder.path().c_str(), 1);
        Folders::setApplication("app");
        ZelComposerManager::setSaveObserver([this] { ++saves; });
    }
    void TearDown() override
    {
        manager->flush();
        ZelComposerManager::setSaveObserver({});
        if (before_.empty())
            unsetenv("XDG_DATA_HOME");
        else
            setenv("XDG_DATA_HOME", before_.c_str(), 1);
    }
    /// One composer with the layers "a", "b", "c".
    void fill()
    {
        ZelComposer composer;
        composer.id = "one";
        for (const char* id : {"a", "b", "c"}) {
            Layer layer;
            layer.id = id;
            composer.layerList.push_back(layer);
        }
        manager->setComposerList({composer});
        saves = announced = 0;
    }
    [[nodiscard]] const ZelComposer& composer() const { return manager->composerList().at(0); }
    [[nodiscard]] std::string layerIds() const
    {
        std::string ids;
        for (const Layer& layer : composer().layerList)
            ids += layer.id.size() == 1 ? layer.id : "+";
        return ids;
    }
    /// Of the files beside the stored document.
    [[nodiscard]] std::string stored(const std::string& ending = ".json") const
    {
        return folder.text("app/ZelComposerManager" + ending);
    }

    const TemporaryFolder folder{true};
    std::atomic<int> saves = 0, announced = 0;
    Ref<ZelComposerManager> manager = std::make_shared<ZelComposerManager>();
    Ref<void> token = manager->observe([this] { ++announced; });

private:
    std::string before_;
};

} // namespace zel::testing
