#include <zel/platform/foundation/byte_source.h>
#include <zel/platform/foundation/file_calls.h>
#include <zel/platform/foundation/limits.h>
#include <zel/platform/foundation/notes.h>
#include <zel/platform/foundation/number_text.h>
#include <zel/platform/foundation/reopened_file.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <fmt/format.h>
#include <mutex>
#include <new>
#include <vector>

namespace zel {
namespace {

constexpr std::string_view operation = "open";
constexpr std::uint64_t readAtOnce = std::uint64_t{16} << 20;
constexpr std::uint64_t readLightly = std::uint64_t{128} << 10;

class Memory : public ByteSource {
public:
    [[nodiscard]] std::uint64_t size() const override { return bytes_.size(); }
    [[nodiscard]] std::size_t read(std::uint64_t offset, std::span<std::uint8_t> into) const override
    {
        if (offset >= bytes_.size())
            return 0;
        const std::span<const std::uint8_t> rest = bytes_.subspan(static_cast<std::size_t>(offset));
        const std::size_t count = std::min(rest.size(), into.size());
        std::copy_n(rest.begin(), count, into.begin());
        return count;
    }
    [[nodiscard]] std::span<const std::uint8_t> whole() const override { return bytes_; }

protected:
    std::span<const std::uint8_t> bytes_;
};

class View final : public Memory {
public:
    explicit View(std::span<const std::uint8_t> bytes) { bytes_ = bytes; }
};

class Owned final : public Memory {
public:
    Owned(Data bytes, std::string subject) : data_(std::move(bytes))
    {
        bytes_ = data_.span();
        subject_ = std::move(subject);
    }

private:
    Data data_;
};

class WholeFile final : public Memory {
public:
    WholeFile(std::unique_ptr<std::uint8_t[]> bytes, std::size_t count, std::string subject)
        : storage_(std::move(bytes))
    {
        bytes_ = {storage_.get(), count};
        subject_ = std::move(subject);
    }

private:
    std::unique_ptr<std::uint8_t[]> storage_;
};

class OpenFile final : public ByteSource {
public:
    OpenFile(FileHandle file, std::uint64_t size, std::string subject) : file_(std::move(file)), size_(size)
    {
        subject_ = std::move(subject);
    }
    [[nodiscard]] std::uint64_t size() const override { return size_; }
    [[nodiscard]] std::size_t read(std::uint64_t offset, std::span<std::uint8_t> into) const override
    {
        if (offset >= size_)
            return 0;
        const auto count = static_cast<std::size_t>(std::min<std::uint64_t>(size_ - offset, into.size()));
        if (const std::optional<std::size_t> got = readFully(file_, into.data(), count, offset))
            return *got;
        warn(ZelFailureCode::unreadable, "read", fmt::format("{} at byte {}", errorText(errno), offset), subject_);
        return 0;
    }

private:
    FileHandle file_;
    std::uint64_t size_;
};

/// Small reads are served from a piece of the file, since readers of headers take a few bytes at a time.
class PiecewiseFile final : public ByteSource {
public:
    PiecewiseFile(FileHandle file, std::uint64_t size, std::string subject)
        : file_(std::move(file), size, std::move(subject))
    {
        subject_ = file_.subject();
    }
    [[nodiscard]] std::uint64_t size() const override { return file_.size(); }
    [[nodiscard]] std::size_t read(std::uint64_t offset, std::span<std::uint8_t> into) const override
    {
        if (into.size() > pieceBytes / 2 || offset >= file_.size())
            return file_.read(offset, into);
        const std::scoped_lock lock(mutex_);
        if (offset < start_ || offset + into.size() > start_ + held_) {
            held_ = file_.read(offset, piece_);
            start_ = offset;
        }
        const std::size_t first = static_cast<std::size_t>(offset - start_);
        const std::size_t count = std::min(into.size(), held_ - std::min(first, held_));
        std::copy_n(piece_.begin() + static_cast<std::ptrdiff_t>(first), count, into.begin());
        return count;
    }

private:
    static constexpr std::size_t pieceBytes = std::size_t{8} << 10;
    const OpenFile file_;
    mutable std::mutex mutex_;
    mutable std::vector<std::uint8_t> piece_ = std::vector<std::uint8_t>(pieceBytes);
    mutable std::uint64_t start_ = 0;
    mutable std::size_t held_ = 0;
};

Absent refuse(ZelFailureCode code, const std::filesystem::path& path, const std::string& reason)
{
    return fail(code, operation, path.filename().string() + ": " + reason, path.string());
}

Ref<const ByteSource> readWhole(const FileHandle& file, std::uint64_t size, const std::filesystem::path& path)
{
    // Not a vector: its zeros would be written only to be read over.
    std::unique_ptr<std::uint8_t[]> bytes(new (std::nothrow) std::uint8_t[std::max<std::uint64_t>(size, 1)]);
    if (!bytes)
        return refuse(ZelFailureCode::outOfMemory, path, "no memory for " + byteText(size));
    const std::optional<std::size_t> got = readFully(file, bytes.get(), size, 0);
    if (!got)
        return refuse(ZelFailureCode::unreadable, path, errorText(errno));
    return std::make_shared<const WholeFile>(std::move(bytes), *got, path.string());
}

enum class Way { bySize, byPieces, lightly, whole };

Ref<const ByteSource> openRegular(const URL& file, Way way)
{
    if (!file.isFile())
        return fail(ZelFailureCode::invalidArgument, operation,
                    file.isEmpty() ? "an empty address names no file"
                                   : "only a file can be opened: " + file.absoluteString(),
                    file.absoluteString());
    const std::filesystem::path path = file.filePath();
    // Without O_NONBLOCK a pipe would make us wait for somebody who writes into it.
    FileHandle handle = openFile(path.string(), O_RDONLY | O_NONBLOCK | O_NOCTTY);
    if (!handle) {
        if (errno == ENOENT || errno == ENOTDIR)
            return refuse(ZelFailureCode::notFound, path, "no such file");
        return refuse(ZelFailureCode::unreadable, path, errno == ENXIO ? "a socket, not a file" : errorText(errno));
    }
    struct stat facts {};
    if (fileCalls().fstat(handle.get(), &facts) != 0)
        return refuse(ZelFailureCode::unreadable, path, errorText(errno));
    if (const std::string kind = oddKind(facts.st_mode); !kind.empty())
        return refuse(ZelFailureCode::unreadable, path, kind + ", not a file");
    const auto size = static_cast<std::uint64_t>(std::max<off_t>(facts.st_size, 0));
    if (const std::uint64_t limit = ZelLimits::current().inputBytes; size > limit)
        return refuse(ZelFailureCode::limit, path,
                      fmt::format("the file has {}, the limit is {}", byteText(size), byteText(limit)));
    if (way == Way::whole || (way == Way::bySize && size <= readAtOnce) || (way == Way::lightly && size <= readLightly))
        return readWhole(handle, size, path);
    if (way == Way::lightly)
        return std::make_shared<const ReopenedFile>(std::move(handle), facts, path.string());
    if (way == Way::byPieces)
        return std::make_shared<const PiecewiseFile>(std::move(handle), size, path.string());
    return std::make_shared<const OpenFile>(std::move(handle), size, path.string());
}

} // namespace

Ref<const ByteSource> ByteSource::open(const URL& file)
{
    return openRegular(file, Way::bySize);
}

Ref<const ByteSource> ByteSource::openByPieces(const URL& file)
{
    return openRegular(file, Way::byPieces);
}

Ref<const ByteSource> ByteSource::openWhole(const URL& file)
{
    return openRegular(file, Way::whole);
}

Ref<const ByteSource> ByteSource::openLightly(const URL& file)
{
    return openRegular(file, Way::lightly);
}

Ref<const ByteSource> ByteSource::of(Data bytes, std::string subject)
{
    return std::make_shared<const Owned>(std::move(bytes), std::move(subject));
}

Ref<const ByteSource> ByteSource::view(std::span<const std::uint8_t> bytes)
{
    return std::make_shared<const View>(bytes);
}

} // namespace zel
