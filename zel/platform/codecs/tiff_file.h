#pragma once
#include <zel/platform/codecs/modules/tiff_module.h>
#include <zel/platform/foundation/byte_source.h>

namespace zel::tiff {

/// The module, opened when a TIFF is first read or written; null with `missingPart` noted where it is not installed.
const Api* module();

/// A TIFF opened through the module: the state of one decoding, for one thread.
class File {
public:
    /// Null, with the reason noted, when the module is missing or the first directory makes no sense.
    static std::unique_ptr<File> open(const Ref<const ByteSource>& source);
    ~File();
    File(const File&) = delete;
    File& operator=(const File&) = delete;

    [[nodiscard]] const Header& header() const { return header_; }
    [[nodiscard]] const Api& api() const { return *api_; }
    [[nodiscard]] Reader* reader() const { return reader_; }
    /// The first error that libtiff stated since the file was opened; empty for none.
    [[nodiscard]] const std::string& complaint() const { return complaint_; }
    [[nodiscard]] int complaints() const { return complaints_; } ///< how many there were

private:
    File() = default;
    static std::size_t read(void* self, std::uint64_t offset, void* into, std::size_t count) noexcept;
    static void complain(void* self, const char* text) noexcept;

    Ref<const ByteSource> source_;
    const Api* api_ = nullptr;
    Reader* reader_ = nullptr;
    Header header_;
    std::string complaint_;
    int complaints_ = 0;
};

} // namespace zel::tiff
