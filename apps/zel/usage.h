#pragma once
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

namespace zel::program {

/// Wrong usage: nothing has been touched, the exit status is 2. The text is the fact; the hint, where there is one, the
/// remedy: "--width: '12q' is no number", "zel help resize".
class UsageError : public std::runtime_error {
public:
    explicit UsageError(const std::string& fact, std::string hint = {})
        : std::runtime_error(fact), hint_(std::move(hint))
    {
    }
    [[nodiscard]] const std::string& hint() const { return hint_; }

private:
    std::string hint_;
};

/// A word that is none of those that can stand in its place: "'left' is none of right, below".
class UnknownWord : public UsageError {
public:
    UnknownWord(std::string_view word, std::vector<std::string> known)
        : UsageError("'" + std::string(word) + "' is none of " + listOf(known)), known_(std::move(known))
    {
    }
    [[nodiscard]] const std::vector<std::string>& known() const { return known_; }

private:
    static std::string listOf(const std::vector<std::string>& words)
    {
        std::string list;
        for (const auto& word : words)
            list += (list.empty() ? "" : ", ") + word;
        return list;
    }

    std::vector<std::string> known_;
};

} // namespace zel::program
