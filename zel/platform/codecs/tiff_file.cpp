#include <zel/platform/codecs/tiff_file.h>

#include <zel/platform/codecs/tiff_directories.h>
#include <zel/platform/foundation/modules.h>
#include <zel/platform/foundation/notes.h>

#include <fmt/format.h>

#include <algorithm>

namespace zel::tiff {

const Api* module()
{
    return openModule<Api>("tiff", "zelimaging-tiff");
}

std::size_t File::read(void* self, std::uint64_t offset, void* into, std::size_t count) noexcept
{
    const ByteSource& source = *static_cast<File*>(self)->source_;
    return offset < source.size() ? source.read(offset, {static_cast<std::uint8_t*>(into), count}) : 0;
}

void File::complain(void* self, const char* text) noexcept
{
    File& file = *static_cast<File*>(self);
    if (file.complaints_++ > 0)
        return;
    std::string& first = file.complaint_;
    try {
        first = text;
        std::replace_if(
            first.begin(), first.end(), [](char letter) { return letter < ' ' || letter > '~'; },
            '?');                     // it may quote the file
    } catch (const std::bad_alloc&) { // then without its words
    }
}

std::unique_ptr<File> File::open(const Ref<const ByteSource>& source)
{
    std::unique_ptr<File> file(new File);
    file->api_ = module();
    if (file->api_ == nullptr)
        return nullptr;
    file->source_ = source;
    file->reader_ = file->api_->open({file.get(), source->size(), read, complain}, file->header_);
    if (file->reader_ == nullptr) {
        if (countDirectories(*source, 1).endsEarly)
            fail(ZelFailureCode::truncated, "decode", "TIFF: the file ends before its directory does");
        else
            fail(ZelFailureCode::unreadable, "decode",
                 fmt::format("TIFF: its directory cannot be read ({})", file->complaint_));
        return nullptr;
    }
    return file;
}

File::~File()
{
    if (reader_ != nullptr)
        api_->close(reader_);
}

} // namespace zel::tiff
