#pragma once
#include <zel/export.h>
#include <chrono>
#include <cstdint>

namespace zel {

/// What input from outside may cost. Figures and reasons: docs/limits.md.
struct ZelLimits {
    std::uint64_t pixels = std::uint64_t{1} << 28;
    std::uint64_t side = 1'000'000;
    std::uint64_t decodeBytes = std::uint64_t{3} << 29;
    std::uint64_t operationBytes = std::uint64_t{4} << 30;
    std::uint64_t inputBytes = std::uint64_t{1} << 30;
    std::chrono::milliseconds decodeTime{30'000};
    int jpegScans = 500;
    int frames = 10'000;
    int pages = 10'000;
    int jsonDepth = 64;
    std::uint64_t jsonBytes = std::uint64_t{64} << 20;
    std::uint64_t downloadBytes = std::uint64_t{128} << 20;
    std::chrono::milliseconds downloadTime{60'000};

    static ZelLimits current();                       ///< of the innermost scope on this thread, else the default
    static void setDefault(const ZelLimits& limits);  ///< process-wide
    static ZelLimits untrusted();
    static ZelLimits unlimited();

    class Scope {
    public:
        explicit Scope(const ZelLimits& limits);
        ~Scope();
        Scope(const Scope&) = delete;
        Scope& operator=(const Scope&) = delete;
    };
};

} // namespace zel
