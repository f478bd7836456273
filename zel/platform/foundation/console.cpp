#include <zel/platform/foundation/console.h>

#include <cstdio>
#include <memory>
#include <mutex>
#include <string>
#include <utility>

namespace zel {
namespace {

struct Standing {
    std::mutex mutex;
    std::shared_ptr<const Console::Sink> sink;
};

// One call for text and line feed: the stream's own lock keeps lines apart.
void toStandardOutput(std::string_view line)
{
    std::string whole(line);
    whole += '\n';
    std::fwrite(whole.data(), 1, whole.size(), stdout);
}

// Never destroyed: threads may still print while the process ends.
Standing& standing()
{
    static Standing& instance = *new Standing{{}, std::make_shared<const Console::Sink>(toStandardOutput)};
    return instance;
}

} // namespace

Console::Sink Console::setSink(Sink sink)
{
    auto next = std::make_shared<const Sink>(std::move(sink));
    const std::scoped_lock lock(standing().mutex);
    return *std::exchange(standing().sink, std::move(next));
}

void Console::print(std::string_view line)
{
    std::shared_ptr<const Sink> sink;
    {
        const std::scoped_lock lock(standing().mutex);
        sink = standing().sink;
    }
    // Called without the lock: a sink may print, or set another one.
    if (*sink)
        (*sink)(line);
}

bool Console::isHeard()
{
    const std::scoped_lock lock(standing().mutex);
    return *standing().sink != nullptr;
}

} // namespace zel
