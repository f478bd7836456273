#pragma once
#include <zel/platform/documents/protocol.h>
#include <zel/platform/foundation/guards.h>

#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

// The near side of the programs that render documents. What they say is checked as if a stranger had said it, since a
// hostile document may be what speaks.
namespace zel::documents {

/// The program to start in place of the installed ones; empty = those again.
void useProgram(const std::string& path);

/// Whether the program for such documents is there; `missingPart` is noted where it is not.
bool isInstalled(Kind kind, std::string_view operation);

/// A reply as it came; absent when it has another length or version, or figures that no reply to `request` has (page
/// counts below 0, sides that were not asked for, sizes that are no numbers).
std::optional<Reply> checkedReply(std::span<const std::uint8_t> message, const Request& request);

/// A document's bytes in sealed memory: processes share it, and nobody changes it.
class SharedBytes {
public:
    /// Null, noted, where there is no memory.
    static std::unique_ptr<SharedBytes> of(std::span<const std::uint8_t> bytes, std::string_view operation);
    ~SharedBytes();
    SharedBytes(const SharedBytes&) = delete;
    SharedBytes& operator=(const SharedBytes&) = delete;
    int descriptor() const { return descriptor_; }
    std::uint64_t size() const { return size_; }

private:
    SharedBytes() = default;
    int descriptor_ = -1;
    std::uint64_t size_ = 0;
};

/// A running process with a document's bytes. One thread at a time.
class Helper {
public:
    /// Null, with the reason noted (missingPart, or what the system says), where it cannot be started. It does not wait
    /// for the process, whose first reply is the answer to a default request.
    static std::unique_ptr<Helper> start(Kind kind, const SharedBytes& bytes, std::string_view operation);
    /// The near end of a conversation with somebody else than a process: a socket as `start` makes it, whose other end
    /// is theirs, and with it a memory of its own. For tests.
    static std::unique_ptr<Helper> over(int socket);
    ~Helper(); ///< ends the process, and waits for its end
    Helper(const Helper&) = delete;
    Helper& operator=(const Helper&) = delete;

    /// Has the process end without waiting for that: nothing more can be asked, and the bands are those of nobody.
    void end();
    /// Makes room for the band and sends the request. False where the process is gone or there is no room.
    bool ask(const Request& request);
    enum class Wait { answered, tooLong, gone };
    /// The answer to a request, or with a default one the first reply. Nothing more can be asked unless it `answered`.
    Wait answer(const Request& request, const Deadline& deadline, Reply& reply);
    /// The rows that an answer to this request brought, which the process could still change: as many as a band has,
    /// the last ones of the page or not.
    [[nodiscard]] std::span<const std::uint8_t> band(const Request& request) const;

private:
    Helper() = default;
    bool makeMemory();
    bool growMemory(std::uint64_t bytes);

    int process_ = -1;
    int processDescriptor_ = -1;
    int socket_ = -1;
    int memory_ = -1;
    std::span<std::uint8_t> rows_;
};

} // namespace zel::documents
