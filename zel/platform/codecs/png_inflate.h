#pragma once
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <vector>

struct inflate_state;

namespace zel::png {

/// The content of a zlib stream; absent where it is damaged, ends early or holds more than `maximum` bytes.
std::optional<std::vector<std::uint8_t>> inflateWhole(std::span<const std::uint8_t> stream, std::size_t maximum);

/// Unpacks a zlib stream that comes in pieces.
class Inflater {
public:
    Inflater();
    ~Inflater();
    Inflater(const Inflater&) = delete;
    Inflater& operator=(const Inflater&) = delete;

    enum class State {
        needsInput, ///< all input is used up
        outputFull, ///< there may be more
        finished,   ///< the stream has ended and matches its checksum
        mismatch,   ///< the stream has ended and does not match its checksum
        damaged,    ///< nothing more can be unpacked
    };
    /// Takes the next piece, which must stay until it is used up.
    void feed(std::span<const std::uint8_t> piece);
    /// Unpacks into `out` and moves its beginning past what was written.
    State unpack(std::span<std::uint8_t>& out);

private:
    std::unique_ptr<inflate_state> state_;
    int headerBytes_ = 0;
    std::uint8_t firstByte_ = 0;
    State state_now_ = State::needsInput;
};

} // namespace zel::png
