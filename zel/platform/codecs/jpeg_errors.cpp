#include <zel/platform/codecs/jpeg_errors.h>

#include <algorithm>
#include <cstring>
#include <jerror.h>

namespace zel {
namespace {

JpegErrors& errorsOf(j_common_ptr info)
{
    return *static_cast<JpegErrors*>(info->client_data);
}

// Which of our codes a fatal error of libjpeg is. What it does not name is damage.
ZelFailureCode codeOf(int message)
{
    switch (message) {
    case JERR_ARITH_NOTIMPL:
    case JERR_BAD_DCTSIZE:
    case JERR_BAD_MCU_SIZE:
    case JERR_BAD_PRECISION:
    case JERR_CCIR601_NOTIMPL:
    case JERR_COMPONENT_COUNT:
    case JERR_CONVERSION_NOTIMPL:
    case JERR_EMPTY_IMAGE: // the height stands in a later DNL marker
    case JERR_FRACT_SAMPLE_NOTIMPL:
    case JERR_NOTIMPL:
    case JERR_NOT_COMPILED:
    case JERR_SOF_UNSUPPORTED:
        return ZelFailureCode::unsupported;
    case JERR_IMAGE_TOO_BIG:
    case JERR_NO_BACKING_STORE: // what `max_memory_to_use` leads to
    case JERR_WIDTH_OVERFLOW:
        return ZelFailureCode::limit;
    case JERR_OUT_OF_MEMORY:
        return ZelFailureCode::outOfMemory;
    default:
        return ZelFailureCode::unreadable;
    }
}

bool isRestart(int marker)
{
    return marker >= JPEG_RST0 && marker <= JPEG_RST0 + 7;
}

// True where decoding cannot go on behind the marker that stands in the middle of the data. A restart marker begins the
// next piece; below SOF0 stand codes that resynchronising skips, where there are restarts to find.
bool endsData(const jpeg_decompress_struct& info)
{
    constexpr int firstRealMarker = 0xC0;
    const int marker = info.unread_marker;
    if (isRestart(marker))
        return info.restart_interval == 0;
    return marker >= firstRealMarker || info.restart_interval == 0;
}

extern "C" {

void exitOnError(j_common_ptr info) noexcept
{
    JpegErrors& errors = errorsOf(info);
    errors.code = codeOf(info->err->msg_code);
    info->err->format_message(info, errors.message);
    std::longjmp(errors.jump, 1);
}

void keepWarning(j_common_ptr info, int level) noexcept
{
    if (level >= 0)
        return;
    JpegErrors& errors = errorsOf(info);
    const int message = info->err->msg_code;
    if (message == JWRN_HIT_MARKER && info->is_decompressor) {
        auto* decompressor = reinterpret_cast<j_decompress_ptr>(info);
        if (endsData(*decompressor)) {
            noteDataEnded(decompressor);
            return;
        }
    }
    if (errors.warnings++ == 0)
        info->err->format_message(info, errors.firstWarning);
}

void sayNothing(j_common_ptr) noexcept {}

} // extern "C"
} // namespace

jpeg_error_mgr* prepareErrors(JpegErrors& errors)
{
    errors = {};
    errors.endedInRow = errors.endedInScan = JpegErrors::never;
    jpeg_error_mgr* manager = jpeg_std_error(&errors.manager);
    manager->error_exit = exitOnError;
    manager->emit_message = keepWarning;
    manager->output_message = sayNothing;
    return manager;
}

void abandon(JpegErrors& errors, ZelFailureCode code, const char* message)
{
    errors.code = code;
    std::snprintf(errors.message, sizeof errors.message, "%s", message);
    std::longjmp(errors.jump, 1);
}

void noteDataEnded(j_decompress_ptr info)
{
    JpegErrors& errors = errorsOf(reinterpret_cast<j_common_ptr>(info));
    if (errors.endedInScan != JpegErrors::never)
        return;
    errors.endedInScan = info->input_scan_number;
    errors.endedInRow = static_cast<int>(info->input_iMCU_row);
}

} // namespace zel
