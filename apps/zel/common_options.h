#pragma once
#include "arguments.h"

#include <chrono>
#include <cstdint>

namespace zel::program {

/// Which pictures: the words of the command line, folders, a list.
struct InputOptions {
    std::vector<std::string> words;
    std::optional<std::string> filesFrom;
    bool nullSeparated = false;
    bool recursive = false;

    void declare(Arguments& arguments);
};

/// Where results go, and what may be replaced.
struct OutputOptions {
    std::optional<std::string> output;
    bool inPlace = false;
    bool force = false;
    bool skipExisting = false;
    bool dryRun = false;

    void declare(Arguments& arguments);
};

/// What a run may cost.
struct LimitOptions {
    std::optional<int> jobs;
    std::optional<int> threads;
    std::optional<std::int64_t> memory;
    std::optional<std::int64_t> maxPixels;
    std::optional<std::chrono::milliseconds> timeout;

    void declare(Arguments& arguments);
    /// Sets the library's limits and threads for `inputs` inputs; gives how many inputs are worked on at once.
    int apply(std::size_t inputs) const;
};

enum class ProgressMode { automatic, always, never };

/// What is told, and in which form.
struct ReportOptions {
    bool strict = false;
    bool json = false;
    bool jsonl = false;
    bool quiet = false;
    bool verbose = false;
    std::optional<ProgressMode> progress;

    void declare(Arguments& arguments);
    /// Refuses flags that contradict each other; sends the library's console lines where --verbose says.
    void apply() const;
};

/// `read`ers for flags that hold a choice of words: gives the value beside the word, or throws UnknownWord with all
/// words.
template <class T, std::size_t N>
T readChoice(std::string_view text, const std::pair<std::string_view, T> (&choices)[N])
{
    std::vector<std::string> words;
    for (const auto& [word, value] : choices) {
        if (word == text)
            return value;
        words.emplace_back(word);
    }
    throw UnknownWord(text, std::move(words));
}

} // namespace zel::program
