#include <zel/support/notify.h>

#include <zel/platform/foundation/failure.h>
#include <zel/platform/foundation/shell.h>

#include "foundation/temporary_folder.h"
#include <common/pictures.h>

#include <gtest/gtest.h>

namespace zel {
namespace {

using testing::TemporaryFolder;

TEST(Notify, BringsImagesToTheirObservers)
{
    std::vector<std::pair<char, Ref<ZelImage>>> got;
    const auto observe = [&](char who, const char* keyword) {
        ZelNotify::observeImage({.keyword = keyword, .callback = [&got, who](const Ref<ZelImage>& image) {
                                     got.emplace_back(who, image);
                                 }});
    };
    observe('a', "first");
    observe('b', "first");
    observe('c', "second");
    ZelNotify::observeImage({.keyword = "first", .callback = {}});
    const auto image = makeZelImage(test::flat(2, 2, {}));
    const std::map<std::string, std::any> text = {{"ZelImage", std::string("no image")}}, other = {{"Image", image}};
    const struct {
        const char* name;
        std::function<void()> post;
        std::vector<std::pair<char, Ref<ZelImage>>> got;
    } cases[] = {
        {"the image itself, to each in turn",
         [&] { ZelNotify::notify({.keyword = "first", .image = image}); },
         {{'a', image}, {'b', image}}},
        {"another name",
         [&] { ZelNotify::notify({.keyword = "second", .sender = 5, .image = image}); },
         {{'c', image}}},
        {"nobody's name", [&] { ZelNotify::notify({.keyword = "third", .image = image}); }, {}},
        {"no user information", [] { NotificationCenter::post({.name = "second"}); }, {{'c', nullptr}}},
        {"a text", [&] { NotificationCenter::post({.name = "second", .userInfo = text}); }, {{'c', nullptr}}},
        {"another key", [&] { NotificationCenter::post({.name = "second", .userInfo = other}); }, {{'c', nullptr}}},
    };
    for (const auto& c : cases) {
        got.clear();
        c.post();
        EXPECT_EQ(got, c.got) << c.name;
    }
}

TEST(Notify, ObserversMayPostAndObserve)
{
    int inner = 0;
    NotificationCenter::addObserver("outer", [&](const NotificationCenter::Notification& outer) {
        EXPECT_EQ(std::any_cast<int>(outer.object), 7);
        NotificationCenter::addObserver("inner", [&](const auto&) { ++inner; });
        NotificationCenter::post({.name = "inner"});
    });
    NotificationCenter::post({.name = "outer", .object = 7});
    NotificationCenter::post({.name = "outer", .object = 7});
    EXPECT_EQ(inner, 3);
}

struct Program {
    explicit Program(const std::string& path) { ZelCLIImageResizer::setProgramPath(path); }
    ~Program() { ZelCLIImageResizer::setProgramPath({}); }
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;
};

TEST(CLIImageResizer, BelievesTheAnswer)
{
    const struct {
        const char* name;
        const char* script; ///< behind a line that writes its arguments to the destination
        bool done;
    } cases[] = {
        {"DONE", "echo DONE", true},
        {"done", "echo 3 files done", true},
        {"Done, without a line feed", "printf Done", true},
        {"a full stop", "echo DONE.", false},
        {"two line feeds", "echo DONE; echo", false},
        {"nothing", "", false},
        {"on standard error", "echo DONE >&2", false},
    };
    for (const auto& c : cases) {
        const TemporaryFolder folder;
        folder.put("program", std::string("#!/bin/sh\necho \"$# $3\" > \"$2\"\n") + c.script + " 2>/dev/null\n");
        std::filesystem::permissions(folder / "program", std::filesystem::perms::owner_all);
        folder.put("a.png", "picture");
        const Program program(folder / "program");
        EXPECT_EQ(ZelCLIImageResizer::resize(folder.url("a.png"), {.to = folder.url("b c.png"), .maxSize = -64}),
                  c.done)
            << c.name;
        EXPECT_EQ(folder.text("b c.png"), c.done ? "3 -64\n" : "absent") << c.name;
    }
}

TEST(CLIImageResizer, WithoutItsProgramGivesAReason)
{
    const TemporaryFolder folder;
    const Program program(folder / "nothing");
    ZelFailure::clear();
    EXPECT_FALSE(ZelCLIImageResizer::resize(folder.put("a.png", "picture"), {.to = folder.url("a.png"), .maxSize = 1}));
    EXPECT_EQ(ZelFailure::last().code, ZelFailureCode::missingPart);
    EXPECT_EQ(folder.text("a.png"), "picture") << "the source itself is not removed";
    EXPECT_FALSE(ZelCLIImageResizer::resize(URL(), {.to = URL(), .maxSize = 1}));
}

TEST(Shell, EndsProgramsThatDoNotEnd)
{
    const struct {
        const char* name;
        const char* script;
        std::optional<std::string> answer;
    } cases[] = {
        {"in time", "echo a; sleep 0.05; echo b", "a\nb"},       {"silence", "sleep 30", {}},
        {"talk without end", "while :; do echo more; done", {}}, {"a closed output", "exec >&-; sleep 30", {}},
        {"something left behind", "sleep 30 & echo done", {}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const std::string arguments[] = {"-c", c.script};
        const auto start = std::chrono::steady_clock::now();
        ZelFailure::clear();
        EXPECT_EQ(shell2("/bin/sh", arguments, std::chrono::milliseconds(c.answer ? 20'000 : 300)), c.answer);
        EXPECT_EQ(ZelFailure::last().code, c.answer ? ZelFailureCode::none : ZelFailureCode::limit);
        EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(20));
    }
}

} // namespace
} // namespace zel
