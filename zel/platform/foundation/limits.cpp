#include <zel/platform/foundation/limits.h>
#include <zel/platform/foundation/memory_budget.h>
#include <zel/platform/foundation/thread_state.h>

#include <algorithm>
#include <limits>
#include <utility>

namespace zel {
namespace {

struct Default {
    std::mutex mutex;
    std::optional<ZelLimits> limits;
};

// Never destroyed: threads may still work while the process ends.
Default& processDefault()
{
    static Default& instance = *new Default;
    return instance;
}

// An allocation that the kernel grants may still end the process when its pages are touched, so the default stays well
// below what is there.
ZelLimits limitsOfThisMachine()
{
    ZelLimits limits;
    if (const std::optional<std::uint64_t> available = availableMemory())
        limits.decodeBytes = std::min(limits.decodeBytes, *available / 5 * 3);
    return limits;
}

} // namespace

ZelLimits ZelLimits::current()
{
    if (const Ref<const ZelLimits>& scoped = threadState().context.limits)
        return *scoped;
    Default& standing = processDefault();
    const std::scoped_lock lock(standing.mutex);
    if (!standing.limits)
        standing.limits = limitsOfThisMachine();
    return *standing.limits;
}

void ZelLimits::setDefault(const ZelLimits& limits)
{
    Default& standing = processDefault();
    const std::scoped_lock lock(standing.mutex);
    standing.limits = limits;
}

ZelLimits ZelLimits::untrusted()
{
    ZelLimits limits;
    limits.pixels = std::uint64_t{1} << 26;
    limits.side = 65'535;
    limits.decodeBytes = std::uint64_t{512} << 20;
    limits.operationBytes = std::uint64_t{1} << 30;
    limits.inputBytes = std::uint64_t{64} << 20;
    limits.decodeTime = std::chrono::milliseconds(8'000);
    limits.jpegScans = 100;
    limits.frames = 1'000;
    limits.pages = 500;
    limits.jsonBytes = std::uint64_t{4} << 20;
    limits.downloadBytes = std::uint64_t{32} << 20;
    limits.downloadTime = std::chrono::milliseconds(20'000);
    return limits;
}

ZelLimits ZelLimits::unlimited()
{
    // Far above every real size, and small enough that sums and small multiples of limits do not wrap.
    constexpr std::uint64_t any = std::uint64_t{1} << 60;
    ZelLimits limits;
    limits.pixels = limits.side = limits.decodeBytes = limits.operationBytes = limits.inputBytes = any;
    limits.jsonBytes = limits.downloadBytes = any;
    limits.decodeTime = limits.downloadTime = std::chrono::milliseconds(0);
    limits.jpegScans = limits.frames = limits.pages = std::numeric_limits<int>::max();
    limits.jsonDepth = 1'000;
    return limits;
}

ZelLimits::Scope::Scope(const ZelLimits& limits)
    : before_(std::exchange(threadState().context.limits, std::make_shared<const ZelLimits>(limits)))
{
}

ZelLimits::Scope::~Scope()
{
    threadState().context.limits = std::move(before_);
}

} // namespace zel
