#pragma once
#include <cstddef>
#include <cstdint>

// What the library and the module that links libcurl say to one another: plain functions over plain data.
namespace zel::http {

/// One transfer over http or https. The texts end in a zero and live until `perform` returns.
struct Request {
    const char* address = nullptr;
    std::int64_t connectMilliseconds = 0, wholeMilliseconds = 0; ///< 0 = no end
    int redirects = 0;                                           ///< followed; to http only from http
    const char* fileName = nullptr; ///< posts `body` as the file "file" of a form, under this name, in place of getting
    const char* mediaType = nullptr;
    const void* body = nullptr;
    std::size_t bodySize = 0;

    void* context = nullptr;
    /// Asked before each connection; 4 or 16 bytes, or none for other kinds of address. `redirected`: a server named
    /// it. Nothing may be thrown.
    bool (*connects)(void* context, const std::uint8_t* address, std::size_t count, bool redirected) = nullptr;
    /// Takes a piece of what comes back; false ends the transfer. Nothing may be thrown.
    bool (*receive)(void* context, const void* bytes, std::size_t count) = nullptr;
    /// Called now and then with what is known of the sizes (0 = unknown); false ends the transfer.
    bool (*goesOn)(void* context, std::uint64_t done, std::uint64_t of) = nullptr;
};

enum class Outcome : std::uint32_t { done, refusedAddress, timedOut, stopped, failed };

struct Reply {
    Outcome outcome = Outcome::failed;
    long status = 0;       ///< of HTTP, where one came
    char reason[256] = {}; ///< where it did not end well
};

struct Api {
    static constexpr std::uint32_t version = 2;
    void (*perform)(const Request& request, Reply& reply);
};

} // namespace zel::http
