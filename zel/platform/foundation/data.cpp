#include <zel/platform/foundation/atomic_write.h>
#include <zel/platform/foundation/byte_source.h>
#include <zel/platform/foundation/notes.h>
#include <zel/platform/foundation/number_text.h>

#include <new>

namespace zel {

std::optional<Data> Data::read(const URL& file)
{
    const Ref<const ByteSource> source = ByteSource::open(file);
    if (!source)
        return std::nullopt;
    try {
        std::vector<std::uint8_t> bytes(source->size());
        if (source->read(0, bytes) != bytes.size())
            return fail(ZelFailureCode::unreadable, "read", "the file was cut while it was read", source->subject());
        return Data(std::move(bytes));
    } catch (const std::bad_alloc&) {
        return fail(ZelFailureCode::outOfMemory, "read", "no memory for " + byteText(source->size()),
                    source->subject());
    }
}

bool Data::write(const URL& file) const
{
    return writeAtomically(file, span());
}

} // namespace zel
