#include <hwy/targets.h>

#include <atomic>
#include <cstdio>
#include <cstdlib>

#if HWY_ARCH_X86
#include <cpuid.h>
#endif

// Which instruction sets this machine has: the questions that Highway's dispatch asks, answered here. Highway's library
// answers them too, but measures the resolution of a benchmark clock whenever it is loaded: 3.5 ms before main begins,
// as much as a small picture takes from file to file. All else that we use of Highway stands in its headers.
namespace hwy {
namespace {

// Plain C++ runs everywhere, in either of its two forms.
constexpr std::int64_t everywhere = HWY_EMU128 | HWY_SCALAR;

#if HWY_ARCH_X86
struct Registers {
    unsigned a = 0, b = 0, c = 0, d = 0;
};

/// Zeros for a leaf that the processor does not have.
Registers processorFacts(unsigned leaf)
{
    Registers facts;
    if (__get_cpuid_count(leaf, 0, &facts.a, &facts.b, &facts.c, &facts.d) == 0)
        return {};
    return facts;
}

/// Each target needs what the one before it needs. `__builtin_cpu_supports` also asks whether the system saves the wide
/// registers; the sets that some compilers do not know by name are looked up in the processor's own tables.
std::int64_t targetsOfProcessor()
{
    __builtin_cpu_init();
    const unsigned basic = processorFacts(1).c, extended = processorFacts(0x80000001).c, wide = processorFacts(7).c;
    constexpr unsigned aes = 1U << 25, carrylessMultiply = 1U << 1, halfFloats = 1U << 29; // leaf 1
    constexpr unsigned leadingZeros = 1U << 5;                                             // leaf 0x80000001
    constexpr unsigned wideAes = 1U << 9, wideMultiply = 1U << 10;                         // leaf 7
    const auto has = [](unsigned facts, unsigned bits) { return (facts & bits) == bits; };

    std::int64_t targets = 0;
    if (!__builtin_cpu_supports("ssse3"))
        return targets;
    targets |= HWY_SSSE3;
    if (!__builtin_cpu_supports("sse4.1") || !__builtin_cpu_supports("sse4.2") || !has(basic, aes | carrylessMultiply))
        return targets;
    targets |= HWY_SSE4;
    if (!__builtin_cpu_supports("avx2") || !__builtin_cpu_supports("bmi") || !__builtin_cpu_supports("bmi2") ||
        !__builtin_cpu_supports("fma") || !has(basic, halfFloats) || !has(extended, leadingZeros))
        return targets;
    targets |= HWY_AVX2;
    if (!__builtin_cpu_supports("avx512f") || !__builtin_cpu_supports("avx512vl") ||
        !__builtin_cpu_supports("avx512dq") || !__builtin_cpu_supports("avx512bw") ||
        !__builtin_cpu_supports("avx512cd"))
        return targets;
    targets |= HWY_AVX3;
    if (__builtin_cpu_supports("avx512vbmi") && __builtin_cpu_supports("avx512vbmi2") &&
        __builtin_cpu_supports("avx512vnni") && __builtin_cpu_supports("avx512bitalg") &&
        __builtin_cpu_supports("avx512vpopcntdq") && has(wide, wideAes | wideMultiply))
        targets |= HWY_AVX3_DL;
    return targets;
}
#else
std::int64_t targetsOfProcessor()
{
    return HWY_ENABLED_BASELINE;
}
#endif

std::atomic<std::int64_t> forTest = 0;
std::atomic<std::int64_t> disabled = 0;

} // namespace

std::int64_t SupportedTargets()
{
    static const std::int64_t found = targetsOfProcessor() | everywhere;
    const std::int64_t test = forTest.load();
    const std::int64_t targets = (test != 0 ? test : found) & ~disabled.load();
    return targets != 0 ? targets : HWY_STATIC_TARGET;
}

void DisableTargets(std::int64_t targets)
{
    disabled = targets;
    GetChosenTarget().DeInit();
}

void SetSupportedTargetsForTest(std::int64_t targets)
{
    forTest = targets;
    GetChosenTarget().DeInit();
}

ChosenTarget& GetChosenTarget()
{
    static ChosenTarget chosen;
    return chosen;
}

// Where Highway's own checks end, which only builds for debugging and with sanitizers make.
void Abort(const char* file, int line, const char* format, ...)
{
    std::fprintf(stderr, "%s:%d: %s\n", file, line, format);
    std::abort();
}

} // namespace hwy
