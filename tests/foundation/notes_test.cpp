#include <zel/platform/foundation/limits.h>
#include <zel/platform/foundation/notes.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <thread>

namespace zel {
namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

// What was noted, shortly: "limit in resize: too large (a.png)".
std::vector<std::string> shortly(const std::vector<ZelNote>& notes)
{
    std::vector<std::string> texts;
    for (const ZelNote& note : notes)
        texts.push_back((note.severity == ZelSeverity::warning ? "warning " : "failure ") + note.operation + ": " +
                        note.message + (note.subject.empty() ? "" : " (" + note.subject + ")"));
    return texts;
}

class Notes : public ::testing::Test {
protected:
    void SetUp() override { ZelFailure::clear(); }
};

TEST_F(Notes, FailGivesTheAbsentValueOfEveryResult)
{
    const auto picture = []() -> Ref<const int> { return fail(ZelFailureCode::limit, "a", "b"); };
    const auto flag = []() -> bool { return fail(ZelFailureCode::limit, "a", "b"); };
    const auto number = []() -> std::optional<double> { return fail(ZelFailureCode::limit, "a", "b"); };
    const auto count = []() -> std::optional<std::uint64_t> { return fail(ZelFailureCode::limit, "a", "b"); };
    const auto bytes = []() -> std::optional<Data> { return fail(ZelFailureCode::limit, "a", "b"); };
    const auto text = []() -> std::optional<std::string> { return fail(ZelFailureCode::limit, "a", "b"); };
    const auto list = []() -> std::vector<std::string> { return fail(ZelFailureCode::limit, "a", "b"); };
    EXPECT_EQ(picture(), nullptr);
    EXPECT_FALSE(flag());
    // An optional number that took the false of a boolean for 0 would be there.
    EXPECT_FALSE(number().has_value());
    EXPECT_FALSE(count().has_value());
    EXPECT_FALSE(bytes().has_value());
    EXPECT_FALSE(text().has_value());
    EXPECT_TRUE(list().empty());
    static_assert(!std::is_convertible_v<Absent, int> && !std::is_convertible_v<Absent, double>);
}

TEST_F(Notes, LastFailureIsTheMostRecentOfThisThread)
{
    EXPECT_EQ(ZelFailure::last().code, ZelFailureCode::none);
    fail(ZelFailureCode::notFound, "open", "no such file", "a.png");
    EXPECT_EQ(ZelFailure::last(),
              (ZelNote{ZelSeverity::failure, ZelFailureCode::notFound, "open", "no such file", "a.png"}));
    warn(ZelFailureCode::truncated, "decode", "half of it");
    EXPECT_EQ(ZelFailure::last().code, ZelFailureCode::notFound);
    fail(ZelFailureCode::limit, "resize", "too large");
    EXPECT_EQ(ZelFailure::last().code, ZelFailureCode::limit);
    EXPECT_EQ(ZelFailure::last().subject, "");
    std::thread([] {
        EXPECT_EQ(ZelFailure::last().code, ZelFailureCode::none);
        fail(ZelFailureCode::network, "fetch", "gone");
    }).join();
    EXPECT_EQ(ZelFailure::last().code, ZelFailureCode::limit);
    ZelFailure::clear();
    EXPECT_EQ(ZelFailure::last(), ZelNote{});
}

TEST_F(Notes, AnAbsentPictureKeepsTheCauseThatStands)
{
    const ZelReport report;
    const Ref<int> first = failAbsentInput("resize");
    EXPECT_EQ(first, nullptr);
    EXPECT_EQ(ZelFailure::last().code, ZelFailureCode::invalidArgument);
    EXPECT_EQ(ZelFailure::last().message, "no picture to resize");
    ZelFailure::clear();
    fail(ZelFailureCode::notFound, "open", "photo.jpg: no such file");
    failAbsentInput("resize");
    failAbsentInput("save");
    EXPECT_EQ(ZelFailure::last().message, "photo.jpg: no such file");
    EXPECT_THAT(shortly(report.notes()),
                ElementsAre("failure resize: no picture to resize", "failure open: photo.jpg: no such file"));
}

TEST_F(Notes, ReportsSeeWhatHappensUnderThem)
{
    fail(ZelFailureCode::limit, "before", "1");
    const ZelReport outer;
    fail(ZelFailureCode::limit, "outer", "2");
    {
        const ZelReport inner;
        warn(ZelFailureCode::limit, "both", "3");
        EXPECT_THAT(shortly(inner.notes()), ElementsAre("warning both: 3"));
        std::thread([] { fail(ZelFailureCode::limit, "elsewhere", "4"); }).join();
        EXPECT_EQ(inner.notes().size(), 1U);
    }
    fail(ZelFailureCode::limit, "after", "5");
    EXPECT_THAT(shortly(outer.notes()), ElementsAre("failure outer: 2", "warning both: 3", "failure after: 5"));
}

TEST_F(Notes, ReportsMayEndInAnyOrder)
{
    auto first = std::make_unique<ZelReport>();
    auto second = std::make_unique<ZelReport>();
    auto third = std::make_unique<ZelReport>();
    first.reset();
    fail(ZelFailureCode::limit, "a", "1");
    second.reset();
    fail(ZelFailureCode::limit, "a", "2");
    EXPECT_THAT(shortly(third->notes()), ElementsAre("failure a: 1", "failure a: 2"));
    const ZelReport inner;
    third.reset();
    fail(ZelFailureCode::limit, "a", "3");
    EXPECT_THAT(shortly(inner.notes()), ElementsAre("failure a: 3"));
    // Long chains end without deep recursion.
    std::vector<std::unique_ptr<ZelReport>> many;
    for (int i = 0; i < 200'000; ++i)
        many.push_back(std::make_unique<ZelReport>());
    for (auto& report : many)
        report.reset();
}

TEST_F(Notes, ReportsAreBounded)
{
    const ZelReport report;
    for (int i = 0; i < 10'005; ++i)
        warn(ZelFailureCode::truncated, "decode", std::to_string(i));
    const std::vector<ZelNote> notes = report.notes();
    ASSERT_EQ(notes.size(), 10'000U);
    EXPECT_EQ(notes.front().message, "0");
    EXPECT_EQ(notes[9'998].message, "9998");
    EXPECT_EQ(notes.back().message, "10004");
}

TEST_F(Notes, SubjectsAreThoseOfTheInnermostScope)
{
    const ZelReport report;
    {
        const SubjectScope file("a.png");
        fail(ZelFailureCode::limit, "x", "1");
        {
            const SubjectScope inner("b.png");
            warn(ZelFailureCode::limit, "x", "2");
            fail(ZelFailureCode::limit, "x", "3", "c.png");
            const SubjectScope none("");
            fail(ZelFailureCode::limit, "x", "4");
        }
        fail(ZelFailureCode::limit, "x", "5");
    }
    fail(ZelFailureCode::limit, "x", "6");
    EXPECT_THAT(shortly(report.notes()),
                ElementsAre("failure x: 1 (a.png)", "warning x: 2 (b.png)", "failure x: 3 (c.png)",
                            "failure x: 4 (b.png)", "failure x: 5 (a.png)", "failure x: 6"));
}

TEST_F(Notes, OnTrialAreDroppedOrKept)
{
    const ZelReport report;
    fail(ZelFailureCode::notFound, "x", "before");
    {
        const NotesOnTrial trial;
        fail(ZelFailureCode::limit, "x", "dropped");
        warn(ZelFailureCode::limit, "x", "dropped");
        EXPECT_EQ(ZelFailure::last().message, "dropped");
        const ZelReport inside;
        fail(ZelFailureCode::limit, "x", "seen inside");
        EXPECT_EQ(inside.notes().size(), 1U);
    }
    EXPECT_EQ(ZelFailure::last().message, "before");
    {
        NotesOnTrial trial;
        warn(ZelFailureCode::limit, "x", "held");
        EXPECT_THAT(shortly(report.notes()), ElementsAre("failure x: before"));
        trial.keep();
        EXPECT_THAT(shortly(report.notes()), ElementsAre("failure x: before", "warning x: held"));
        fail(ZelFailureCode::limit, "x", "passes");
    }
    EXPECT_EQ(ZelFailure::last().message, "passes");
    EXPECT_THAT(shortly(report.notes()), ElementsAre("failure x: before", "warning x: held", "failure x: passes"));
}

TEST_F(Notes, TrialsNest)
{
    const ZelReport report;
    {
        const NotesOnTrial outer;
        {
            NotesOnTrial inner;
            fail(ZelFailureCode::limit, "x", "kept within what is dropped");
            inner.keep();
        }
        EXPECT_EQ(ZelFailure::last().code, ZelFailureCode::limit);
    }
    EXPECT_THAT(report.notes(), IsEmpty());
    EXPECT_EQ(ZelFailure::last().code, ZelFailureCode::none);
    NotesOnTrial outer;
    {
        NotesOnTrial inner;
        fail(ZelFailureCode::limit, "x", "kept twice");
        inner.keep();
    }
    outer.keep();
    EXPECT_THAT(shortly(report.notes()), ElementsAre("failure x: kept twice"));
}

TEST_F(Notes, TasksTakeTheContextAlong)
{
    ZelLimits limits;
    limits.pixels = 77;
    const ZelLimits::Scope scope(limits);
    const SubjectScope subject("a.png");
    const ZelReport report;
    fail(ZelFailureCode::notFound, "first", "cause");
    const TaskContext context = TaskContext::capture();
    std::thread worker([&] {
        {
            const TaskContext::Adopt adopted(context);
            EXPECT_EQ(ZelLimits::current().pixels, 77U);
            EXPECT_EQ(ZelFailure::last().message, "cause");
            failAbsentInput("task");
            warn(ZelFailureCode::truncated, "task", "warned");
        }
        context.settle(); // nothing failed: nothing to settle
        EXPECT_EQ(ZelFailure::last().code, ZelFailureCode::none);
        {
            const TaskContext::Adopt adopted(context);
            fail(ZelFailureCode::limit, "task", "failed");
        }
        EXPECT_NE(ZelLimits::current().pixels, 77U);
        EXPECT_EQ(ZelFailure::last().code, ZelFailureCode::none);
        warn(ZelFailureCode::limit, "own", "outside");
    });
    worker.join();
    EXPECT_EQ(ZelFailure::last().message, "cause");
    context.settle();
    EXPECT_EQ(ZelFailure::last().message, "failed");
    ZelFailure::clear();
    context.settle();
    EXPECT_EQ(ZelFailure::last().code, ZelFailureCode::none);
    EXPECT_THAT(shortly(report.notes()), ElementsAre("failure first: cause (a.png)", "warning task: warned (a.png)",
                                                     "failure task: failed (a.png)"));
}

TEST_F(Notes, OfTasksThatOutliveTheReportHarmNobody)
{
    std::optional<TaskContext> context;
    {
        const ZelReport report;
        const NotesOnTrial trial;
        context = TaskContext::capture();
    }
    std::thread([&] {
        const TaskContext::Adopt adopted(*context);
        fail(ZelFailureCode::limit, "late", "nobody asks");
    }).join();
}

TEST_F(Notes, OfHandedOutWorkAreOnTrialToo)
{
    const ZelReport report;
    const auto noteElsewhere = [](const TaskContext& context) {
        std::thread([&] {
            const TaskContext::Adopt adopted(context);
            warn(ZelFailureCode::limit, "x", "elsewhere");
        }).join();
    };
    {
        const NotesOnTrial trial;
        noteElsewhere(TaskContext::capture());
    }
    EXPECT_THAT(report.notes(), IsEmpty());
    NotesOnTrial trial;
    noteElsewhere(TaskContext::capture());
    trial.keep();
    EXPECT_EQ(report.notes().size(), 1U);
}

TEST_F(Notes, ReportsCollectFromManyThreads)
{
    const ZelReport report;
    const TaskContext context = TaskContext::capture();
    std::vector<std::thread> threads;
    for (int thread = 0; thread < 4; ++thread)
        threads.emplace_back([&] {
            const TaskContext::Adopt adopted(context);
            for (int i = 0; i < 500; ++i)
                warn(ZelFailureCode::limit, "x", std::to_string(i));
        });
    while (report.notes().size() < 100) {}
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(report.notes().size(), 2'000U);
}

class Progress : public Notes {};

TEST_F(Progress, WithoutOneWorkGoesOn)
{
    EXPECT_TRUE(keepGoing(0.5, "resize"));
    EXPECT_EQ(ZelFailure::last().code, ZelFailureCode::none);
}

TEST_F(Progress, IsToldFractionsHeldToTheirRange)
{
    std::vector<double> told;
    const ZelProgress progress([&](double fraction) { told.push_back(fraction); });
    for (const double fraction :
         {-1.0, 0.0, 0.25, 0.2501, 0.5, 0.5, std::numeric_limits<double>::quiet_NaN(), 1.0, 7.0, 0.1})
        EXPECT_TRUE(keepGoing(fraction, "resize"));
    // What is no visible step (a thousandth) is not told.
    EXPECT_THAT(told, ElementsAre(0, 0.25, 0.5, 0, 1, 0.1));
}

TEST_F(Progress, StopsWorkAndSaysSo)
{
    std::stop_source source;
    const ZelProgress progress({}, source.get_token());
    const ZelReport report;
    EXPECT_TRUE(keepGoing(0.5, "resize"));
    source.request_stop();
    EXPECT_FALSE(keepGoing(0.6, "resize"));
    EXPECT_FALSE(keepGoing(0.7, "resize"));
    EXPECT_EQ(ZelFailure::last().code, ZelFailureCode::cancelled);
    EXPECT_THAT(shortly(report.notes()), ElementsAre("failure resize: resize was stopped"));
    EXPECT_FALSE(keepGoing(0.8, "encode"));
    EXPECT_EQ(report.notes().size(), 2U);
}

TEST_F(Progress, OfTheInnermostIsToldAndEachCanStop)
{
    std::stop_source source;
    int outerTold = 0, innerTold = 0;
    const ZelProgress outer([&](double) { ++outerTold; }, source.get_token());
    {
        const ZelProgress inner([&](double) { ++innerTold; });
        EXPECT_TRUE(keepGoing(0.5, "x"));
        source.request_stop();
        EXPECT_FALSE(keepGoing(0.6, "x"));
    }
    EXPECT_EQ(outerTold, 0);
    EXPECT_EQ(innerTold, 1);
    EXPECT_FALSE(keepGoing(0.7, "x"));
}

TEST_F(Progress, CallbacksMayDoAnything)
{
    int told = 0;
    {
        const ZelProgress progress([&](double) {
            ++told;
            EXPECT_TRUE(keepGoing(0.9, "inner work"));
            throw std::runtime_error("trouble of the host");
        });
        EXPECT_TRUE(keepGoing(0.1, "x"));
        EXPECT_TRUE(keepGoing(0.2, "x"));
    }
    EXPECT_EQ(told, 2);
    EXPECT_TRUE(keepGoing(0.3, "x"));
    EXPECT_EQ(told, 2);
}

TEST_F(Progress, IsSharedByHelpingThreads)
{
    std::stop_source source;
    std::atomic<int> at = 0, most = 0, told = 0;
    std::optional<TaskContext> context;
    {
        const ZelProgress progress(
            [&](double) {
                most = std::max(most.load(), ++at);
                ++told;
                --at;
            },
            source.get_token());
        context = TaskContext::capture();
        std::vector<std::thread> threads;
        for (int thread = 0; thread < 4; ++thread)
            threads.emplace_back([&] {
                const TaskContext::Adopt adopted(*context);
                for (int i = 0; i <= 500; ++i)
                    EXPECT_TRUE(keepGoing(i / 500.0, "x"));
            });
        for (std::thread& thread : threads)
            thread.join();
    }
    EXPECT_EQ(most, 1);
    EXPECT_GT(told, 400);
    // The callback is gone with its scope; the wish to stop is not.
    const int before = told;
    std::thread([&] {
        const TaskContext::Adopt adopted(*context);
        EXPECT_TRUE(keepGoing(0.5, "late"));
        source.request_stop();
        EXPECT_FALSE(keepGoing(0.6, "late"));
    }).join();
    EXPECT_EQ(told, before);
}

TEST(ZelLimits, HoldForAThreadOrTheProcess)
{
    const ZelLimits before = ZelLimits::current();
    ZelLimits changed = before;
    changed.pixels = 5;
    ZelLimits::setDefault(changed);
    EXPECT_EQ(ZelLimits::current(), changed);
    {
        const ZelLimits::Scope outer(ZelLimits::untrusted());
        EXPECT_EQ(ZelLimits::current(), ZelLimits::untrusted());
        {
            const ZelLimits::Scope inner(ZelLimits::unlimited());
            EXPECT_EQ(ZelLimits::current(), ZelLimits::unlimited());
            std::thread([&] { EXPECT_EQ(ZelLimits::current(), changed); }).join();
        }
        EXPECT_EQ(ZelLimits::current(), ZelLimits::untrusted());
    }
    ZelLimits::setDefault(before);
    EXPECT_EQ(ZelLimits::current(), before);
}

TEST(ZelLimits, OfStrangersAreNarrowerInEveryRespectThatMatters)
{
    const ZelLimits usual, strict = ZelLimits::untrusted(), wide = ZelLimits::unlimited();
    EXPECT_LT(strict.pixels, usual.pixels);
    EXPECT_LT(strict.side, usual.side);
    EXPECT_LT(strict.decodeBytes, usual.decodeBytes);
    EXPECT_LT(strict.operationBytes, usual.operationBytes);
    EXPECT_LT(strict.inputBytes, usual.inputBytes);
    EXPECT_LT(strict.decodeTime, usual.decodeTime);
    EXPECT_GT(strict.decodeTime.count(), 0);
    EXPECT_LT(usual.jpegScans, wide.jpegScans);
    EXPECT_LT(strict.jpegScans, usual.jpegScans);
    EXPECT_LT(usual.pixels, wide.pixels);
    EXPECT_EQ(wide.decodeTime.count(), 0);
    // The default of this machine never allows more than the figure in the header.
    EXPECT_LE(ZelLimits::current().decodeBytes, usual.decodeBytes);
    EXPECT_GT(ZelLimits::current().decodeBytes, 0U);
}

} // namespace
} // namespace zel
