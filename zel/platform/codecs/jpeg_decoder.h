#pragma once
#include <zel/platform/codecs/jpeg_errors.h>
#include <zel/platform/foundation/byte_source.h>
#include <zel/platform/foundation/guards.h>

#include <memory>

namespace zel {

/// One pass of libjpeg over one picture. After a false answer `errors()` says why; then only destruction is left.
class JpegDecoder {
public:
    /// Both outlive the decoder.
    JpegDecoder(const ByteSource& source, const Deadline& deadline);
    ~JpegDecoder();
    JpegDecoder(const JpegDecoder&) = delete;
    JpegDecoder& operator=(const JpegDecoder&) = delete;

    enum class Segments { passed, kept };
    /// Kept: those of applications and comments stand in `info().marker_list`.
    [[nodiscard]] bool readHeader(Segments segments = Segments::passed);
    /// True where all data must be read before the first row is complete.
    [[nodiscard]] bool hasMultipleScans();
    /// At 1/denominator of the size, four components a pixel: RGBX, or CMYK as it is stored.
    [[nodiscard]] bool start(int denominator);

    enum class Step { more, scanComplete, complete, failed };
    /// Reads one more row of blocks of a picture in several scans, or what stands between two scans.
    [[nodiscard]] Step readBlocks();
    /// Before `startOutput`: rows are given without the smoothing that hides the blocks of an incomplete picture.
    void leaveBlocksUnsmoothed();
    /// Begins to give rows of a picture in several scans, as good as those that were read make them.
    [[nodiscard]] bool startOutput();

    /// In place of `start`: reads all scans and leaves their coefficients as they are, in `coefficients()`. Ends with
    /// `limit` or `cancelled` (which is noted then) where time, scans or the wish to stop say so.
    [[nodiscard]] bool readCoefficients();
    /// Of each component.
    [[nodiscard]] jvirt_barray_ptr* coefficients() const { return coefficients_; }

    [[nodiscard]] bool skipRows(int count);
    /// Fills `count` rows of four bytes a pixel.
    [[nodiscard]] bool readRows(std::uint8_t* first, std::size_t stride, int count);

    [[nodiscard]] const jpeg_decompress_struct& info() const { return info_; }
    /// For calls of libjpeg that take a decoder's state, under `guarded`.
    [[nodiscard]] jpeg_decompress_struct& info() { return info_; }
    [[nodiscard]] const JpegErrors& errors() const { return errors_; }
    [[nodiscard]] JpegErrors& errors() { return errors_; }
    /// Rows of pixels that a row of blocks gives.
    [[nodiscard]] int rowsPerBlockRow() const;
    /// False where the data ended within the first row of blocks: there is no picture then.
    [[nodiscard]] bool isFirstRowHeld() const;
    /// Rows that the data held, at the size that is decoded; known of rows that were read or skipped so far.
    [[nodiscard]] int rowsHeld() const;
    /// True where the data ended before the picture was complete.
    [[nodiscard]] bool isCutShort() const;
    /// True once the last byte of the file was read and more was wanted.
    [[nodiscard]] bool hasReachedEnd() const;
    /// The part of the file that was read, 0 to 1.
    [[nodiscard]] double fractionRead() const;

private:
    struct Input;
    struct Watch;
    jpeg_decompress_struct info_{};
    JpegErrors errors_{};
    jvirt_barray_ptr* coefficients_ = nullptr;
    std::unique_ptr<Input> input_;
};

} // namespace zel
