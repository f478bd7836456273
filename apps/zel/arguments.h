#pragma once
#include "usage.h"
#include "verb.h"

#include <functional>
#include <memory>
#include <optional>
#include <vector>

namespace zel::program {

/// The flags of a verb: declared one by one, read from the command line, listed by its help.
class Arguments {
public:
    explicit Arguments(const Verb& verb);
    ~Arguments();
    Arguments(const Arguments&) = delete;
    Arguments& operator=(const Arguments&) = delete;

    /// Begins a group of flags in the help.
    void section(std::string_view title);
    /// The words that belong to no flag.
    void operands(std::vector<std::string>& into);
    void flag(std::string_view names, bool& into, std::string_view help);
    void text(std::string_view names, std::string_view value, std::optional<std::string>& into, std::string_view help);
    /// A flag that may come several times.
    void texts(std::string_view names, std::string_view value, std::vector<std::string>& into, std::string_view help);
    /// A flag whose value `read` turns into what it means; `read` throws UsageError where it means nothing.
    template <class T, class Read>
    void value(std::string_view names, std::string_view value, std::optional<T>& into, Read read, std::string_view help)
    {
        declare(names, value, help, Kind::read, [&into, read](const std::string& word) { into = read(word); });
    }

    /// Reads the words into what was declared; false where help was asked for, which is then printed. Throws
    /// UsageError.
    [[nodiscard]] bool parse(Words words);

private:
    struct State;
    enum class Kind { text, texts, read };
    void declare(std::string_view names, std::string_view value, std::string_view help, Kind kind,
                 std::function<void(const std::string&)> take);

    std::unique_ptr<State> state_;
};

} // namespace zel::program
