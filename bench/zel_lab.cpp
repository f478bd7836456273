#include "zel_lab.h"

#include <zel/engine/parallel.h>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <iterator>
#include <vector>

namespace zel::lab {
namespace {

using Clock = std::chrono::steady_clock;
using Operations = std::map<std::string, void (*)(const Arguments&)>;

Operations& operations()
{
    static Operations all;
    return all;
}

double cpuSeconds()
{
    timespec now{};
    clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &now);
    return static_cast<double>(now.tv_sec) + static_cast<double>(now.tv_nsec) / 1e9;
}

double secondsSince(Clock::time_point start)
{
    return std::chrono::duration<double>(Clock::now() - start).count();
}

double median(std::vector<double> values)
{
    const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
    std::nth_element(values.begin(), middle, values.end());
    return *middle;
}

} // namespace

Arguments::Arguments(int count, char** words)
{
    if (count > 1)
        operation_ = words[1];
    for (int i = 2; i < count; ++i) {
        const std::string word = words[i];
        const std::size_t equals = word.find('=');
        if (equals == std::string::npos)
            giveUp("not of the form key=value: " + word);
        values_[word.substr(0, equals)] = word.substr(equals + 1);
    }
}

std::string Arguments::text(const std::string& key, const std::string& otherwise) const
{
    const auto found = values_.find(key);
    return found == values_.end() ? otherwise : found->second;
}

int Arguments::number(const std::string& key, int otherwise) const
{
    const std::string said = text(key);
    if (said.empty())
        return otherwise;
    int number = 0;
    const auto [end, error] = std::from_chars(said.data(), said.data() + said.size(), number);
    if (error != std::errc() || end != said.data() + said.size())
        giveUp("not a number: " + key + "=" + said);
    return number;
}

void giveUp(const std::string& why)
{
    std::fprintf(stderr, "zel-lab: %s\n", why.c_str());
    std::exit(2);
}

std::string readFile(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    std::string bytes{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    if (!file)
        giveUp("cannot read " + path);
    return bytes;
}

engine::PixelBuffer readPicture(const Arguments& arguments)
{
    engine::PixelBuffer picture(arguments.number("w"), arguments.number("h"));
    std::ifstream file(arguments.text("in"), std::ios::binary);
    if (picture.empty() ||
        !file.read(reinterpret_cast<char*>(picture.pixels().data), static_cast<std::streamsize>(picture.sizeInBytes())))
        giveUp("cannot read w × h pixels from in=" + arguments.text("in"));
    return picture;
}

void writeResult(const Arguments& arguments, const void* data, std::size_t bytes)
{
    const std::string path = arguments.text("out");
    if (path.empty())
        return;
    std::ofstream file(path, std::ios::binary);
    if (!file.write(static_cast<const char*>(data), static_cast<std::streamsize>(bytes)))
        giveUp("cannot write " + path);
}

void writeResult(const Arguments& arguments, const engine::ConstPixels& pixels)
{
    const std::string path = arguments.text("out");
    if (path.empty())
        return;
    std::ofstream file(path, std::ios::binary);
    for (int y = 0; y < pixels.height; ++y)
        file.write(reinterpret_cast<const char*>(pixels.row(y)), static_cast<std::streamsize>(pixels.rowBytes()));
    if (!file.flush())
        giveUp("cannot write " + path);
}

void measure(const std::function<void()>& run)
{
    constexpr std::size_t fewestRuns = 3;
    constexpr double fewestSeconds = 0.8;
    run();
    std::vector<double> wall;
    std::vector<double> cpu;
    for (const auto start = Clock::now(); wall.size() < fewestRuns || secondsSince(start) < fewestSeconds;) {
        const double cpuBefore = cpuSeconds();
        const auto before = Clock::now();
        run();
        wall.push_back(secondsSince(before));
        cpu.push_back(cpuSeconds() - cpuBefore);
    }
    std::printf("RESULT wall_s=%.6f cpu_s=%.6f runs=%zu\n", median(wall), median(cpu), wall.size());
}

Operation::Operation(const char* name, void (*run)(const Arguments&))
{
    operations()[name] = run;
}

} // namespace zel::lab

int main(int count, char** words)
{
    using namespace zel::lab;
    const Arguments arguments(count, words);
    const auto found = operations().find(arguments.operation());
    if (found == operations().end()) {
        std::string names;
        for (const auto& [name, run] : operations())
            names += " " + name;
        giveUp("operations:" + names);
    }
    zel::engine::setConcurrency(arguments.number("threads", 1));
    found->second(arguments);
}
