#include <zel/platform/codecs/jpeg_decoder.h>
#include <zel/platform/foundation/limits.h>
#include <zel/platform/foundation/notes.h>

#include <algorithm>
#include <array>
#include <limits>

namespace zel {
namespace {

constexpr std::size_t windowBytes = std::size_t{64} << 10;      // of a file that is read by pieces,
constexpr std::size_t firstWindowBytes = std::size_t{8} << 10;  // the first ones being smaller: headers may be all
constexpr std::size_t memoryWindowBytes = std::size_t{1} << 20; // of bytes in memory, between looks at the clock
constexpr std::array<JOCTET, 2> endOfImage{0xFF, JPEG_EOI};

} // namespace

// Hands the bytes to libjpeg in windows: of memory, or read from the file. Behind the last byte libjpeg finds an end of
// image, so that it gives what it has.
struct JpegDecoder::Input {
    jpeg_source_mgr manager{};
    const ByteSource& source;
    const Deadline& deadline;
    JpegErrors& errors;
    std::span<const std::uint8_t> whole;
    std::uint64_t position = 0; // behind the window
    bool ended = false;
    std::size_t nextWindowBytes = firstWindowBytes;
    std::unique_ptr<std::uint8_t[]> window;

    Input(const ByteSource& from, const Deadline& until, JpegErrors& failures)
        : source(from), deadline(until), errors(failures), whole(from.whole())
    {
        manager.init_source = [](j_decompress_ptr) noexcept {};
        manager.fill_input_buffer = [](j_decompress_ptr info) noexcept -> boolean { return of(info).fill(info); };
        manager.skip_input_data = [](j_decompress_ptr info, long count) noexcept { of(info).skip(count); };
        manager.resync_to_restart = jpeg_resync_to_restart;
        manager.term_source = [](j_decompress_ptr) noexcept {};
        if (whole.empty())
            window = std::make_unique<std::uint8_t[]>(windowBytes);
    }

    static Input& of(j_decompress_ptr info) { return *reinterpret_cast<Input*>(info->src); }

    // Jumps may leave this function: nothing in it has a destructor.
    boolean fill(j_decompress_ptr info) noexcept
    {
        if (deadline.passed())
            abandon(errors, ZelFailureCode::limit, "decoding took longer than the time allowed");
        std::size_t count = 0;
        if (!whole.empty()) {
            const std::uint64_t first = std::min<std::uint64_t>(position, whole.size());
            count = std::min<std::size_t>(whole.size() - first, memoryWindowBytes);
            manager.next_input_byte = whole.data() + first;
        } else {
            count = source.read(position, {window.get(), nextWindowBytes});
            nextWindowBytes = std::min(2 * nextWindowBytes, windowBytes);
            manager.next_input_byte = window.get();
        }
        position += count;
        if (count == 0) {
            ended = true;
            if (info->arith_code && info->input_scan_number > 0)
                noteDataEnded(info); // the arithmetic decoder reads zeros behind the end and says nothing
            manager.next_input_byte = endOfImage.data();
            count = endOfImage.size();
        }
        manager.bytes_in_buffer = count;
        return TRUE;
    }

    void skip(long count) noexcept
    {
        if (count <= 0)
            return;
        const auto bytes = static_cast<std::size_t>(count);
        if (bytes <= manager.bytes_in_buffer) {
            manager.next_input_byte += bytes;
            manager.bytes_in_buffer -= bytes;
            return;
        }
        if (!ended)
            position += bytes - manager.bytes_in_buffer;
        manager.bytes_in_buffer = 0;
    }
};

JpegDecoder::JpegDecoder(const ByteSource& source, const Deadline& deadline)
    : input_(std::make_unique<Input>(source, deadline, errors_))
{
    info_.err = prepareErrors(errors_);
    info_.client_data = &errors_;
}

JpegDecoder::~JpegDecoder()
{
    jpeg_destroy_decompress(&info_);
}

bool JpegDecoder::readHeader(Segments segments)
{
    return guarded(errors_, [this, segments] {
        jpeg_CreateDecompress(&info_, JPEG_LIB_VERSION, sizeof info_);
        const std::uint64_t memory = ZelLimits::current().decodeBytes;
        info_.mem->max_memory_to_use =
            static_cast<long>(std::min<std::uint64_t>(memory, std::numeric_limits<long>::max()));
        info_.src = &input_->manager;
        constexpr int applications = 16;
        constexpr unsigned wholeSegment = 0xFFFF;
        for (int number = 0; segments == Segments::kept && number < applications; ++number)
            jpeg_save_markers(&info_, JPEG_APP0 + number, wholeSegment);
        if (segments == Segments::kept)
            jpeg_save_markers(&info_, JPEG_COM, wholeSegment);
        jpeg_read_header(&info_, TRUE);
        if (info_.jpeg_color_space == JCS_UNKNOWN)
            abandon(errors_, ZelFailureCode::unsupported, "pictures of two components, or of more than four");
    });
}

bool JpegDecoder::hasMultipleScans()
{
    return jpeg_has_multiple_scans(&info_) != FALSE;
}

bool JpegDecoder::start(int denominator)
{
    return guarded(errors_, [this, denominator] {
        const bool fourColours = info_.jpeg_color_space == JCS_CMYK || info_.jpeg_color_space == JCS_YCCK;
        info_.out_color_space = fourColours ? JCS_CMYK : JCS_EXT_RGBA;
        info_.scale_num = 1;
        info_.scale_denom = static_cast<unsigned>(denominator);
        info_.dct_method = JDCT_ISLOW;
        info_.buffered_image = jpeg_has_multiple_scans(&info_); // else libjpeg reads all scans in one go
        jpeg_start_decompress(&info_);
    });
}

JpegDecoder::Step JpegDecoder::readBlocks()
{
    int result = 0;
    if (!guarded(errors_, [this, &result] { result = jpeg_consume_input(&info_); }))
        return Step::failed;
    if (result == JPEG_SCAN_COMPLETED)
        return Step::scanComplete;
    return result == JPEG_REACHED_EOI ? Step::complete : Step::more;
}

void JpegDecoder::leaveBlocksUnsmoothed()
{
    info_.do_block_smoothing = FALSE;
}

// What libjpeg calls between rows of blocks while it reads all scans in one go.
struct JpegDecoder::Watch {
    jpeg_progress_mgr manager{};
    JpegDecoder& decoder;
    int mostScans = ZelLimits::current().jpegScans;

    explicit Watch(JpegDecoder& watched) : decoder(watched)
    {
        manager.progress_monitor = [](j_common_ptr info) noexcept { reinterpret_cast<Watch*>(info->progress)->look(); };
    }

    // Jumps may leave this function: nothing in it has a destructor.
    void look() noexcept
    {
        JpegErrors& errors = decoder.errors_;
        if (decoder.info_.input_scan_number > mostScans)
            abandon(errors, ZelFailureCode::limit, "it has more scans than are allowed");
        if (decoder.input_->deadline.passed())
            abandon(errors, ZelFailureCode::limit, "decoding took longer than the time allowed");
        if (!isWanted())
            abandon(errors, ZelFailureCode::cancelled, "stopped");
    }
    // What a host's callback throws must not pass through libjpeg.
    [[nodiscard]] bool isWanted() const noexcept
    {
        try {
            return keepGoing(decoder.fractionRead(), "jpeg");
        } catch (...) {
            return false;
        }
    }
};

bool JpegDecoder::readCoefficients()
{
    Watch watch(*this);
    info_.progress = &watch.manager;
    const bool read = guarded(errors_, [this] { coefficients_ = jpeg_read_coefficients(&info_); });
    info_.progress = nullptr;
    return read && coefficients_ != nullptr;
}

bool JpegDecoder::startOutput()
{
    return guarded(errors_, [this] { jpeg_start_output(&info_, info_.input_scan_number); });
}

bool JpegDecoder::skipRows(int count)
{
    return guarded(errors_, [this, count] {
        if (count > 0)
            jpeg_skip_scanlines(&info_, static_cast<JDIMENSION>(count));
    });
}

bool JpegDecoder::readRows(std::uint8_t* first, std::size_t stride, int count)
{
    return guarded(errors_, [this, first, stride, count] {
        constexpr std::size_t rowsAtOnce = 16;
        std::array<JSAMPROW, rowsAtOnce> rows;
        auto left = static_cast<std::size_t>(count);
        for (std::uint8_t* next = first; left > 0;) {
            const std::size_t wanted = std::min(left, rowsAtOnce);
            for (std::size_t row = 0; row < wanted; ++row)
                rows[row] = next + row * stride;
            const std::size_t got = jpeg_read_scanlines(&info_, rows.data(), static_cast<JDIMENSION>(wanted));
            if (got == 0)
                abandon(errors_, ZelFailureCode::unreadable, "the picture has fewer rows than its header says");
            next += got * stride;
            left -= got;
        }
    });
}

int JpegDecoder::rowsPerBlockRow() const
{
#if JPEG_LIB_VERSION >= 70
    return info_.max_v_samp_factor * info_.min_DCT_v_scaled_size;
#else
    return info_.max_v_samp_factor * info_.min_DCT_scaled_size;
#endif
}

bool JpegDecoder::isFirstRowHeld() const
{
    return errors_.endedInRow > 0 || errors_.endedInScan > 1;
}

int JpegDecoder::rowsHeld() const
{
    const int height = static_cast<int>(info_.output_height);
    if (errors_.endedInScan > 1) // never, or in a scan that only refines what the first one gave
        return height;
    return std::min(height, (errors_.endedInRow + 1) * rowsPerBlockRow());
}

bool JpegDecoder::isCutShort() const
{
    if (errors_.endedInScan != JpegErrors::never)
        return true;
    if (!hasReachedEnd())
        return false;
    // The end came between two scans, if not behind the last one.
    for (int component = 0; component < info_.num_components; ++component) {
        if (info_.comp_info[component].quant_table == nullptr)
            return true;
        const auto incomplete = [](int bits) { return bits != 0; };
        if (info_.coef_bits != nullptr &&
            std::any_of(info_.coef_bits[component], info_.coef_bits[component] + DCTSIZE2, incomplete))
            return true;
    }
    return false;
}

bool JpegDecoder::hasReachedEnd() const
{
    return input_->ended;
}

double JpegDecoder::fractionRead() const
{
    const auto size = static_cast<double>(input_->source.size());
    return size > 0 ? std::min(1.0, static_cast<double>(input_->position) / size) : 1.0;
}

} // namespace zel
