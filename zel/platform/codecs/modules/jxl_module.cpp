#include <zel/platform/codecs/modules/jxl_module.h>

#include <zel/export.h>
#include <zel/platform/codecs/modules/apart.h>
#include <zel/platform/foundation/modules.h>

#include <jxl/decode.h>
#include <jxl/decode_cxx.h>
#include <jxl/thread_parallel_runner.h>
#include <jxl/thread_parallel_runner_cxx.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <new>
#include <optional>
#include <system_error>
#include <thread>
#include <vector>

// libjxl behind the module's interface. It is given the bytes in pieces, so that decoding can be stopped between them.
// Nothing of ours is linked; nothing is thrown.
//
// Builds of it with its checks on, Debian's among them, write what they find wrong with a file to standard error: it is
// called on a thread apart. Its loops cannot be made to fail in order to stop it: some of them end the process then.
namespace zel::jxl {

struct Reader {
    JxlDecoderPtr decoder;
    JxlThreadParallelRunnerPtr runner;
    const std::uint8_t* bytes = nullptr;
    std::size_t size = 0;
    std::vector<std::uint8_t> profile;
};

namespace {

constexpr std::size_t piece = std::size_t{64} << 10U;

/// Where the decoder has got to, and whether it is to go on; on the way between the two threads.
struct Course {
    std::atomic<double> fraction{0};
    std::atomic<bool> isStopped{false};
};

/// Runs `work` on a thread apart and waits for it, asking the caller meanwhile.
template <class Work>
void runApart(const Work& work, Course& course, GoOn goOn, void* context)
{
    std::mutex mutex;
    std::condition_variable changed;
    bool isDone = false;
    std::thread thread;
    try {
        thread = std::thread([&] {
            leaveStandardError();
            work();
            const std::scoped_lock lock(mutex);
            isDone = true;
            changed.notify_one();
        });
    } catch (const std::system_error&) { // no thread to be had
        work();
        return;
    }
    constexpr std::chrono::milliseconds between{20};
    std::unique_lock lock(mutex);
    while (!changed.wait_for(lock, between, [&] { return isDone; })) {
        lock.unlock();
        if (goOn != nullptr && !course.isStopped && !goOn(context, course.fraction))
            course.isStopped = true;
        lock.lock();
    }
    lock.unlock();
    thread.join();
}

/// Feeds a decoder until something other than more bytes is wanted.
class Feed {
public:
    Feed(JxlDecoder* decoder, const std::uint8_t* bytes, std::size_t size)
        : decoder_(decoder), bytes_(bytes), size_(size)
    {
    }
    /// The next event; `JXL_DEC_NEED_MORE_INPUT` when there are no more bytes. Absent: stopped.
    std::optional<JxlDecoderStatus> next(Course& course)
    {
        for (;;) {
            const JxlDecoderStatus status = JxlDecoderProcessInput(decoder_);
            if (status != JXL_DEC_NEED_MORE_INPUT)
                return status;
            // What it has not used yet is given once more, with new bytes behind.
            const std::size_t used = given_ - JxlDecoderReleaseInput(decoder_);
            if (given_ == size_)
                return status;
            course.fraction = static_cast<double>(given_) / static_cast<double>(size_);
            if (course.isStopped)
                return std::nullopt;
            given_ += std::min(piece, size_ - given_);
            if (JxlDecoderSetInput(decoder_, bytes_ + used, given_ - used) != JXL_DEC_SUCCESS)
                return JXL_DEC_ERROR;
        }
    }

private:
    JxlDecoder* decoder_;
    const std::uint8_t* bytes_;
    std::size_t size_;
    std::size_t given_ = 0; ///< up to here
};

void fill(const JxlBasicInfo& info, JxlDecoder* decoder, Header& header)
{
    header.width = info.xsize;
    header.height = info.ysize;
    header.orientation = static_cast<std::uint8_t>(info.orientation);
    header.bitsPerSample = info.bits_per_sample;
    header.isFloating = info.exponent_bits_per_sample > 0;
    header.isGray = info.num_color_channels == 1;
    header.hasAlpha = info.alpha_bits > 0;
    header.isPremultiplied = info.alpha_premultiplied != 0;
    header.isAnimation = info.have_animation != 0;
    header.extraChannels = info.num_extra_channels;
    for (std::uint32_t i = 0; i < std::min<std::uint32_t>(info.num_extra_channels, 64); ++i) {
        JxlExtraChannelInfo extra{};
        if (JxlDecoderGetExtraChannelInfo(decoder, i, &extra) == JXL_DEC_SUCCESS)
            header.hasBlack = header.hasBlack || extra.type == JXL_CHANNEL_BLACK;
    }
}

/// Colours that the decoder is free to choose are asked for as sRGB; what it then gives is told by a profile.
void chooseColors(Reader& reader, bool isGray)
{
    constexpr std::size_t mostProfileBytes = std::size_t{4} << 20U;
    JxlDecoder* const decoder = reader.decoder.get();
    JxlColorEncoding encoding{};
    const auto isSrgb = [&] {
        return JxlDecoderGetColorAsEncodedProfile(decoder, nullptr, JXL_COLOR_PROFILE_TARGET_DATA, &encoding) ==
                   JXL_DEC_SUCCESS &&
               encoding.white_point == JXL_WHITE_POINT_D65 &&
               encoding.transfer_function == JXL_TRANSFER_FUNCTION_SRGB &&
               (encoding.color_space == JXL_COLOR_SPACE_GRAY ||
                (encoding.color_space == JXL_COLOR_SPACE_RGB && encoding.primaries == JXL_PRIMARIES_SRGB));
    };
    JxlColorEncoding wanted{};
    wanted.color_space = isGray ? JXL_COLOR_SPACE_GRAY : JXL_COLOR_SPACE_RGB;
    wanted.white_point = JXL_WHITE_POINT_D65;
    wanted.primaries = JXL_PRIMARIES_SRGB;
    wanted.transfer_function = JXL_TRANSFER_FUNCTION_SRGB;
    wanted.rendering_intent = JXL_RENDERING_INTENT_RELATIVE;
    if (isSrgb())
        return;
    // A picture that can be given in its own colours keeps them; one whose profile is of no use to the decoder would
    // come linear, too coarse for 8 bits.
    if (JxlDecoderGetColorAsEncodedProfile(decoder, nullptr, JXL_COLOR_PROFILE_TARGET_ORIGINAL, &encoding) !=
        JXL_DEC_SUCCESS)
        JxlDecoderSetPreferredColorProfile(decoder, &wanted);
    if (isSrgb())
        return;
    std::size_t size = 0;
    if (JxlDecoderGetICCProfileSize(decoder, nullptr, JXL_COLOR_PROFILE_TARGET_DATA, &size) != JXL_DEC_SUCCESS ||
        size > mostProfileBytes)
        return;
    reader.profile.resize(size);
    if (JxlDecoderGetColorAsICCProfile(decoder, nullptr, JXL_COLOR_PROFILE_TARGET_DATA, reader.profile.data(), size) !=
        JXL_DEC_SUCCESS)
        reader.profile.clear();
}

/// Up to the colours; the decoder then stands before the first frame.
Status begin(Reader& reader, Feed& feed, Header& header, Course& course)
{
    JxlDecoder* const decoder = reader.decoder.get();
    if (JxlDecoderSubscribeEvents(decoder, JXL_DEC_BASIC_INFO | JXL_DEC_COLOR_ENCODING | JXL_DEC_FULL_IMAGE) !=
            JXL_DEC_SUCCESS ||
        JxlDecoderSetKeepOrientation(decoder, JXL_TRUE) != JXL_DEC_SUCCESS)
        return Status::damaged;
    for (;;) {
        const std::optional<JxlDecoderStatus> event = feed.next(course);
        if (!event)
            return Status::stopped;
        if (*event == JXL_DEC_BASIC_INFO) {
            JxlBasicInfo info{};
            if (JxlDecoderGetBasicInfo(decoder, &info) != JXL_DEC_SUCCESS)
                return Status::damaged;
            fill(info, decoder, header);
        } else if (*event == JXL_DEC_COLOR_ENCODING) {
            chooseColors(reader, header.isGray);
            return Status::good;
        } else {
            return *event == JXL_DEC_NEED_MORE_INPUT ? Status::needsMore : Status::damaged;
        }
    }
}

Reader* open(const std::uint8_t* bytes, std::size_t size, Status& status, Header& header)
{
    std::unique_ptr<Reader> reader;
    Course course;
    runApart(
        [&]() noexcept {
            status = Status::outOfMemory;
            try {
                reader = std::make_unique<Reader>();
                reader->decoder = JxlDecoderMake(nullptr);
                reader->bytes = bytes;
                reader->size = size;
                if (!reader->decoder)
                    return;
                Feed feed(reader->decoder.get(), bytes, size);
                status = begin(*reader, feed, header, course);
            } catch (const std::bad_alloc&) { // `status` says so
            }
        },
        course, nullptr, nullptr);
    return reader.release();
}

void close(Reader* reader)
{
    delete reader;
}

const std::uint8_t* profile(const Reader* reader, std::size_t& size)
{
    size = reader->profile.size();
    return size > 0 ? reader->profile.data() : nullptr;
}

Status decodeAll(Reader& reader, bool deep, void* pixels, std::size_t size, int threads, Course& course)
{
    JxlDecoder* const decoder = reader.decoder.get();
    JxlDecoderReset(decoder);
    if (threads > 1) {
        reader.runner = JxlThreadParallelRunnerMake(nullptr, static_cast<std::size_t>(threads));
        if (reader.runner)
            JxlDecoderSetParallelRunner(decoder, JxlThreadParallelRunner, reader.runner.get());
    }
    Feed feed(decoder, reader.bytes, reader.size);
    Header header;
    if (const Status status = begin(reader, feed, header, course); status != Status::good)
        return status;
    const JxlPixelFormat format = {4, deep ? JXL_TYPE_UINT16 : JXL_TYPE_UINT8, JXL_NATIVE_ENDIAN, 0};
    for (bool hasBuffer = false;;) {
        const std::optional<JxlDecoderStatus> event = feed.next(course);
        if (!event)
            return Status::stopped;
        std::size_t needed = 0;
        switch (*event) {
        case JXL_DEC_NEED_IMAGE_OUT_BUFFER:
            if (JxlDecoderImageOutBufferSize(decoder, &format, &needed) != JXL_DEC_SUCCESS || needed != size ||
                JxlDecoderSetImageOutBuffer(decoder, &format, pixels, size) != JXL_DEC_SUCCESS)
                return Status::damaged;
            hasBuffer = true;
            break;
        case JXL_DEC_FULL_IMAGE:
            return Status::good;
        case JXL_DEC_NEED_MORE_INPUT:
            return hasBuffer && JxlDecoderFlushImage(decoder) == JXL_DEC_SUCCESS ? Status::partial : Status::needsMore;
        default:
            return Status::damaged;
        }
    }
}

Status decode(Reader* reader, bool deep, void* pixels, std::size_t size, int threads, GoOn goOn, void* context)
{
    Status status = Status::outOfMemory;
    Course course;
    runApart(
        [&]() noexcept {
            try {
                status = decodeAll(*reader, deep, pixels, size, threads, course);
            } catch (const std::bad_alloc&) { // `status` says so
            }
        },
        course, goOn, context);
    return status;
}

int countFrames(const std::uint8_t* bytes, std::size_t size, int most)
{
    int count = 0;
    Course course;
    runApart(
        [&]() noexcept {
            const JxlDecoderPtr decoder = JxlDecoderMake(nullptr);
            if (!decoder || JxlDecoderSubscribeEvents(decoder.get(), JXL_DEC_FRAME) != JXL_DEC_SUCCESS ||
                JxlDecoderSetInput(decoder.get(), bytes, size) != JXL_DEC_SUCCESS)
                return;
            while (count < most && JxlDecoderProcessInput(decoder.get()) == JXL_DEC_FRAME)
                ++count;
        },
        course, nullptr, nullptr);
    return std::max(count, 1);
}

constexpr Api api = {open, close, profile, decode, countFrames};

} // namespace
} // namespace zel::jxl

extern "C" ZEL_API zel::ModuleEntry zel_module()
{
    return {zel::jxl::Api::version, &zel::jxl::api};
}
