#pragma once
#include <examples/composer/editor.h>
#include <examples/composer/hand.h>

#include <foundation/temporary_folder.h>

#include <QStringList>
#include <gtest/gtest.h>

#include <atomic>
#include <memory>

namespace zel::testing {

/// An editor whose documents lie in a folder of the test's own; counts saves.
class ComposerExample : public ::testing::Test {
protected:
    using Composer = Editor::Composer;
    using Layer = Editor::Layer;
    using ShapeType = Layer::Shape::ShapeType;

    void SetUp() override
    {
        setenv("XDG_DATA_HOME", folder.path().c_str(), 1);
        Folders::setApplication("composer");
        ZelComposerManager::setSaveObserver([this] { ++saves; });
        editor = std::make_unique<Editor>();
    }
    void TearDown() override
    {
        waitUntil([&] { return !editor->isBusy(); });
        editor.reset();
        ZelComposerManager::setSaveObserver({});
        std::make_shared<ZelComposerManager>()->flush();
        unsetenv("XDG_DATA_HOME");
    }
    [[nodiscard]] Composer composer() const { return *editor->current(); }
    [[nodiscard]] const Layer& layer(std::size_t index) { return shown_ = composer().layerList.at(index); }
    /// What the steps are called that can be undone, the last one first.
    [[nodiscard]] QStringList steps() const
    {
        QStringList titles;
        for (int index = editor->undoStack().index(); index > 0; --index)
            titles.append(editor->undoStack().text(index - 1));
        return titles;
    }
    QString picture(const std::string& name, int width, int height, NSColor color) const
    {
        const CGSize size{static_cast<CGFloat>(width), static_cast<CGFloat>(height)};
        EXPECT_TRUE(saveToPNG(ZelImageHelper::getFillColorImage({.color = color, .size = size}),
                              SaveUrl{.url = folder.url(name)}));
        return QString::fromStdString((folder / name).string());
    }
    void addPicture(const QString& file)
    {
        editor->addPictures({file});
        EXPECT_TRUE(waitUntil([&] { return !editor->isBusy(); }));
    }

    const TemporaryFolder folder{true};
    std::atomic<int> saves = 0;
    std::unique_ptr<Editor> editor;

private:
    Layer shown_;
};

} // namespace zel::testing
