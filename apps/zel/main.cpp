#include "interrupt.h"
#include "text.h"
#include "usage.h"
#include "verb.h"

#include <fmt/format.h>

#include <new>

namespace {

constexpr int wrongUsage = 2;
constexpr int outOfMemory = 4;

int say(std::string_view verb, std::string_view fact, std::string_view hint, int status)
{
    auto line = fmt::format("zel{}{}: {}", verb.empty() ? "" : " ", verb, fact);
    if (!hint.empty())
        line += fmt::format(" (hint: {})", hint);
    zel::program::writeError(zel::program::printable(line));
    return status;
}

/// "--version" and "--help" in the place of a verb are what many try first.
std::string_view verbFor(std::string_view word)
{
    if (word == "--version" || word == "-V")
        return "version";
    return word == "--help" || word == "-h" ? "help" : word;
}

} // namespace

int main(int count, char** words)
{
    using namespace zel::program;
    if (count < 2)
        return say({}, "no verb", "zel help", wrongUsage);
    const auto* const verb = verbNamed(verbFor(words[1]));
    if (verb == nullptr)
        return say({}, fmt::format("there is no verb {}", words[1]), "zel help", wrongUsage);
    catchInterrupts();
    try {
        return verb->run(*verb, {words + 2, static_cast<std::size_t>(count - 2)});
    } catch (const UsageError& error) {
        return say(verb->name, error.what(), error.hint(), wrongUsage);
    } catch (const std::bad_alloc&) {
        return say(verb->name, "not enough memory", {}, outOfMemory);
    } catch (const std::exception& error) {
        return say(verb->name, error.what(), {}, 1);
    }
}
