#pragma once
#include <zel/platform/documents/protocol.h>
#include <zel/platform/foundation/guards.h>

#include <memory>
#include <optional>
#include <span>
#include <string>

// The near side of the program that renders documents: one process a document. What it says is checked as if a stranger
// had said it, since a hostile document may be what speaks.
namespace zel::documents {

/// The program to start in place of the installed one; empty = that one again.
void useProgram(const std::string& path);

/// A reply as it came; absent when it has another length or version, or figures that no reply to `request` has (page
/// counts below 0, sides that were not asked for, sizes that are no numbers).
std::optional<Reply> checkedReply(std::span<const std::uint8_t> message, const Request& request);

/// A running process with a document's bytes. One thread at a time.
class Helper {
public:
    /// Null, with the reason noted (missingPart, or what the system says), where it cannot be started.
    static std::unique_ptr<Helper> start(Kind kind, std::span<const std::uint8_t> bytes, std::string_view operation);
    ~Helper(); ///< ends the process
    Helper(const Helper&) = delete;
    Helper& operator=(const Helper&) = delete;

    /// Makes room for the rows and sends the request. False where the process is gone or there is no room.
    bool ask(const Request& request);
    enum class Wait { answered, tooLong, gone };
    /// The answer to a request, or with a default one the first reply. Nothing more can be asked unless it `answered`.
    Wait answer(const Request& request, const Deadline& deadline, Reply& reply);
    /// The rows of the last answer: width × height × 4 bytes, which the process could still change. Empty before.
    std::span<const std::uint8_t> rows() const { return rows_; }

private:
    Helper() = default;
    bool makeRoom(std::uint64_t bytes);

    int process_ = -1;
    int processDescriptor_ = -1;
    int socket_ = -1;
    int memory_ = -1;
    std::span<std::uint8_t> rows_;
};

} // namespace zel::documents
