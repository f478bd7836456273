#pragma once
#include <zel/export.h>
#include <zel/platform/foundation/ref.h>

#include <chrono>
#include <cstdint>

namespace zel {

/// What input from outside may cost. Whatever would pass a limit is refused: the result is absent, code `limit`, need
/// and limit in the sentence. Nothing but this changes a limit: no file, no environment variable.
struct ZEL_API ZelLimits {
    std::uint64_t pixels = std::uint64_t{1} << 28;         ///< of one picture; 2^28 are 1 GiB at 8 bits
    std::uint64_t side = 1'000'000;                        ///< of one picture, in pixels
    std::uint64_t decodeBytes = std::uint64_t{3} << 29;    ///< decoded and temporary bytes held at once for one picture
    std::uint64_t operationBytes = std::uint64_t{4} << 30; ///< a picture that the host asked for by its size
    std::uint64_t inputBytes = std::uint64_t{1} << 30;     ///< an encoded picture or document
    std::chrono::milliseconds decodeTime{30'000};          ///< one picture; 0 = no end
    int jpegScans = 500;                                   ///< of a progressive JPEG; real files stay below 100
    int frames = 10'000;                                   ///< counted in one file
    int pages = 10'000;                                    ///< of a document
    int jsonDepth = 64;                                    ///< values within values; our own documents need about 8
    std::uint64_t jsonBytes = std::uint64_t{64} << 20; ///< a JSON text; that of an image may have eight times as many
    std::uint64_t downloadBytes = std::uint64_t{128} << 20;
    std::chrono::milliseconds downloadTime{60'000};

    /// Those of the innermost Scope on this thread, else the default. The default until `setDefault` is a ZelLimits{}
    /// whose `decodeBytes` is at most 60 % of the memory that was available when the library first asked.
    static ZelLimits current();
    /// Process-wide, for every thread without a Scope.
    static void setDefault(const ZelLimits& limits);
    /// For pictures of strangers, as a server meets them: 67 MP, 512 MiB, 64 MiB of input, 8 s.
    static ZelLimits untrusted();
    /// Nothing is refused for its size or duration. JSON is still held to a depth of 1000, the stack being finite.
    static ZelLimits unlimited();

    friend bool operator==(const ZelLimits&, const ZelLimits&) = default;

    /// Limits for the thread that makes it, and for work that this thread hands out.
    class ZEL_API Scope {
    public:
        explicit Scope(const ZelLimits& limits);
        ~Scope();
        Scope(const Scope&) = delete;
        Scope& operator=(const Scope&) = delete;

    private:
        Ref<const ZelLimits> before_;
    };
};

} // namespace zel
