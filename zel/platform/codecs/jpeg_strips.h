#pragma once
#include <zel/platform/codecs/jpeg_coefficients.h>
#include <zel/platform/codecs/jpeg_errors.h>
#include <zel/platform/codecs/jpeg_huffman.h>
#include <zel/platform/codecs/jpeg_planes.h>
#include <zel/platform/codecs/jpeg_tables.h>

#include <atomic>
#include <memory>
#include <vector>

namespace zel {

/// How a picture is cut into strips that are coded apart and joined by restart markers: by its size alone, so that the
/// same bytes come from any number of threads.
struct JpegCut {
    int rowsPerStrip = 0; ///< whole coding units; the last strip may have fewer
    int strips = 0;
    [[nodiscard]] int firstRow(int strip) const { return strip * rowsPerStrip; }
};
JpegCut cutIntoStrips(int width, int height);

/// Coding units between two restart markers; 0 where there is one strip.
int restartInterval(const JpegCut& cut, int width, JpegSampling sampling);

/// What a strip is coded from: samples, or coefficients that are there already.
struct JpegStripSource {
    const JpegPlanes* planes = nullptr;
    const JpegRequantizer* coefficients = nullptr; ///< of the whole picture, brought to the coder's quantisers
};

/// Codes strips, one after the other.
class JpegStripCoder {
public:
    /// `tables` null: those of the standard's annex K.
    JpegStripCoder(int width, JpegSampling sampling, const JpegQuantizers& quantizers, const JpegHuffmanTables* tables);
    ~JpegStripCoder();
    JpegStripCoder(const JpegStripCoder&) = delete;
    JpegStripCoder& operator=(const JpegStripCoder&) = delete;

    /// False where libjpeg could not be made ready; `errors()` says why.
    [[nodiscard]] bool isReady() const { return info_.comp_info != nullptr; }
    /// Codes `rows` rows of the source, from one that begins a coding unit, and appends what stands between two
    /// markers.
    [[nodiscard]] bool encode(JpegStripSource from, int firstRow, int rows, std::vector<std::uint8_t>& bytes);
    /// The same, adding to `total` how many bytes that is. Stops early where `total` passes `limit` (0 = none).
    [[nodiscard]] bool count(JpegStripSource from, int firstRow, int rows, std::atomic<std::uint64_t>& total,
                             std::uint64_t limit);
    /// Why the last call was false.
    [[nodiscard]] const JpegErrors& errors() const { return errors_; }

    /// The Huffman tables of the files that these strips belong to: of luma and of colour, each for DC and AC.
    [[nodiscard]] const JHUFF_TBL* dcTable(int table) const { return info_.dc_huff_tbl_ptrs[table]; }
    [[nodiscard]] const JHUFF_TBL* acTable(int table) const { return info_.ac_huff_tbl_ptrs[table]; }

private:
    struct Output;
    [[nodiscard]] bool code(JpegStripSource from, int firstRow, int rows);
    void putSamples(const JpegPlanes& planes, int firstRow, int rows);
    void putCoefficients(const JpegRequantizer& coefficients, int firstRow);

    jpeg_compress_struct info_{};
    JpegErrors errors_{};
    std::unique_ptr<Output> output_;
    std::array<jvirt_barray_ptr, 3> arrays_{}; // which libjpeg reads until a strip is finished
    int width_;
    JpegSampling sampling_;
};

} // namespace zel
