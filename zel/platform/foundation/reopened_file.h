#pragma once
#include <zel/platform/foundation/byte_source.h>
#include <zel/platform/foundation/file_calls.h>

namespace zel {

/// A file that is read by pieces and costs neither memory nor, for long, a descriptor: of all such files the ones read
/// last stay open, the others are opened again when they are read. What was written over, or is another file by then,
/// is not read: then, and where it is gone, reads give nothing and warn (`unreadable`).
class ReopenedFile final : public ByteSource {
public:
    /// `file` is open for reading, at `path`; `facts` are its own.
    ReopenedFile(FileHandle file, const struct stat& facts, const std::string& path);
    ~ReopenedFile() override;
    [[nodiscard]] std::uint64_t size() const override { return size_; }
    [[nodiscard]] std::size_t read(std::uint64_t offset, std::span<std::uint8_t> into) const override;
    [[nodiscard]] bool isLost() const override;

private:
    [[nodiscard]] Ref<const FileHandle> handle() const;
    [[nodiscard]] bool isSame(const FileHandle& file) const;
    struct OpenOnes;
    static OpenOnes& openOnes();

    std::string path_;
    std::uint64_t size_;
    dev_t device_;
    ino_t number_;
    timespec written_;
};

} // namespace zel
