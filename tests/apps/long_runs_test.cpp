#include "apps/run_program.h"
#include "apps/sample_files.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <regex>
#include <thread>

// What long runs show, and how they end before their time.
namespace zel::testing {
namespace {

using ::testing::HasSubstr;
using ::testing::MatchesRegex;

/// Many names of one file, so that nothing but the work takes long.
std::vector<std::string> manyInputs(const TemporaryFolder& folder, int count)
{
    std::vector<std::string> names;
    folder.put("0.png", pngFile(300, 300));
    for (int i = 1; i <= count; ++i) {
        names.push_back(std::to_string(i) + ".png");
        std::filesystem::create_hard_link(folder / "0.png", folder / names.back());
    }
    return names;
}

TEST(LongRuns, AnInterruptEndsABatchInOrder)
{
    constexpr int inputs = 500;
    for (const int signal : {SIGINT, SIGTERM}) {
        const TemporaryFolder folder(true);
        Command command{.words = manyInputs(folder, inputs)};
        command.words.insert(command.words.begin(),
                             {"resize", "--width", "600", "-o", "out/", "--jobs", "1", "--json"});
        Running running(folder, command);
        while (!std::filesystem::exists(folder / "out") || std::filesystem::is_empty(folder / "out"))
            std::this_thread::yield();
        kill(running.process(), signal);
        const auto ended = running.wait();
        EXPECT_EQ(ended.status, 130);
        std::smatch tally;
        ASSERT_TRUE(std::regex_match(ended.err, tally, std::regex("zel resize: interrupted: (\\d+) of 500 done\n")))
            << ended.err;
        // Whole files, as many as it says, and nothing else.
        int files = 0;
        for (const auto& entry : std::filesystem::directory_iterator(folder / "out")) {
            ++files;
            const auto name = "out/" + entry.path().filename().string();
            EXPECT_EQ(sidesOf(folder.text(name)), (Sides{600, 600})) << name;
            EXPECT_EQ(pixelsOfFile(folder.text(name)).size(), 360000U) << name;
        }
        EXPECT_EQ(std::to_string(files), tally[1]);
        EXPECT_LT(files, inputs);
        EXPECT_THAT(ended.out, HasSubstr("\"status\": \"stopped\""));
        EXPECT_THAT(ended.out, HasSubstr("\"done\": " + tally[1].str()));
    }
}

TEST(LongRuns, ProgressIsDrawnWhereItIsAskedFor)
{
    const TemporaryFolder folder(true);
    std::vector<std::string> words = manyInputs(folder, 20);
    words.insert(words.begin(), {"resize", "--width", "600", "-o", "out/", "--jobs", "1", "--progress", "always"});
    const auto err = zel(folder, words).err;
    // Bars, each over the one before, and nothing left of the last one.
    EXPECT_THAT(err, MatchesRegex("(\r\\[#* *\\] +[0-9]+ %  [0-9]+/20(  [0-9]+ s left)?\x1b\\[K)+\r\x1b\\[K"));
    // It never goes back.
    const std::regex figure("\\] +(\\d+) %");
    int before = 0;
    for (std::sregex_iterator at(err.begin(), err.end(), figure), end; at != end; ++at) {
        const int now = std::stoi((*at)[1]);
        EXPECT_GE(now, before);
        EXPECT_LE(now, 100);
        before = now;
    }
    words.insert(words.begin() + 1, {"--force"});
    words.back() = "1.png";
    std::replace(words.begin(), words.end(), std::string("always"), std::string("auto"));
    words.pop_back();
    EXPECT_EQ(zel(folder, words).err, ""); // a file is no terminal
}

// What a kill may leave beside an output is gone after the next run.
TEST(LongRuns, ClearsUpAfterOneThatWasKilled)
{
    const TemporaryFolder folder(true);
    folder.put("a.png", pngFile(4, 3));
    pid_t dead = 0;
    {
        const Running killed(folder, {.words = {"version"}});
        dead = killed.process();
    }
    const std::string left = ".zel-" + std::to_string(dead) + "-0.tmp";
    folder.put(left, "half");
    std::filesystem::last_write_time(folder / left,
                                     std::filesystem::file_time_type::clock::now() - std::chrono::hours(1));
    EXPECT_EQ(zel(folder, {"convert", "a.png", "-o", "b.png"}).status, 0);
    EXPECT_EQ(folder.names(), (std::vector<std::string>{"a.png", "b.png"}));
}

} // namespace
} // namespace zel::testing
