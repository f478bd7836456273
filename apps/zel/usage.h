#pragma once
#include <stdexcept>
#include <string>

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

} // namespace zel::program
