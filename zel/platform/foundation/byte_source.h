#pragma once
#include <zel/export.h>
#include <zel/platform/foundation/url.h>

namespace zel {

/// Encoded bytes that are read by position. May be read from several threads at once.
class ZEL_API ByteSource {
public:
    virtual ~ByteSource() = default;
    [[nodiscard]] virtual std::uint64_t size() const = 0;
    /// Reads up to `into.size()` bytes from `offset`; fewer only at the end (or where the file was cut meanwhile).
    [[nodiscard]] virtual std::size_t read(std::uint64_t offset, std::span<std::uint8_t> into) const = 0;
    /// All bytes where they lie in memory anyway; empty otherwise.
    [[nodiscard]] virtual std::span<const std::uint8_t> whole() const { return {}; }
    /// True where the bytes cannot be had any more: the file was changed or removed.
    [[nodiscard]] virtual bool isLost() const { return false; }
    /// The file's name, for notes; empty for bytes.
    [[nodiscard]] const std::string& subject() const { return subject_; }

    /// A regular file: up to 16 MiB read at once, a larger one kept open and read by pieces. Null, with the reason
    /// noted (notFound, unreadable, limit), for what is missing, no regular file, or larger than `inputBytes`. Never
    /// waits for the other end of a pipe.
    static Ref<const ByteSource> open(const URL& file);
    /// The same, but never read whole: what is not asked for stays on the disk, but for the rest of a piece of 8 KiB.
    /// For headers.
    static Ref<const ByteSource> openByPieces(const URL& file);
    /// The same, but read whole whatever its size, so that nothing done to the file later can be seen.
    static Ref<const ByteSource> openWhole(const URL& file);
    /// The same for those who keep many: up to 128 KiB read at once, a larger one read by pieces and opened again where
    /// too many are open. Where the file is another one by then, it cannot be read any more.
    static Ref<const ByteSource> openLightly(const URL& file);
    static Ref<const ByteSource> of(Data bytes, std::string subject = {});
    /// Bytes that outlive the source.
    static Ref<const ByteSource> view(std::span<const std::uint8_t> bytes);

protected:
    std::string subject_;
};

} // namespace zel
