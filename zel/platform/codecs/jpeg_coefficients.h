#pragma once
#include <zel/platform/codecs/jpeg_decoder.h>
#include <zel/platform/codecs/jpeg_planes.h>
#include <zel/platform/codecs/jpeg_tables.h>
#include <zel/platform/graphics/pixel_provider.h>

#include <vector>

namespace zel {

/// A picture whose file is a JPEG.
class JpegPicture : public PixelProvider {
public:
    [[nodiscard]] virtual const Ref<const ByteSource>& source() const = 0;
};

/// The transform coefficients of a JPEG, as its scans hold them: nothing is rounded, nothing transformed.
class JpegCoefficients {
public:
    /// `source` outlives the coefficients.
    explicit JpegCoefficients(const ByteSource& source) : decoder_(source, deadline_) {}

    /// These two, in this order; false where libjpeg gave up: `decoder().errors()` says why.
    [[nodiscard]] bool readHeader(JpegDecoder::Segments segments) { return decoder_.readHeader(segments); }
    [[nodiscard]] bool read();

    /// True where the file was whole and without damage.
    [[nodiscard]] bool isSound() const { return !decoder_.isCutShort() && decoder_.errors().warnings == 0; }
    /// Row `y` of the blocks of a component; `blocksWide` of them can be read.
    [[nodiscard]] const JBLOCK* row(int component, int y) const
    {
        return rows_[static_cast<std::size_t>(component)][static_cast<std::size_t>(y)];
    }
    [[nodiscard]] int blocksWide(int component) const;
    [[nodiscard]] int blocksHigh(int component) const;

    [[nodiscard]] const JpegDecoder& decoder() const { return decoder_; }
    [[nodiscard]] JpegDecoder& decoder() { return decoder_; }

private:
    Deadline deadline_;
    JpegDecoder decoder_;
    std::vector<std::vector<const JBLOCK*>> rows_; // of each component
};

/// Brings coefficients to other quantisers, as far as they go from the file's own: what is coded from the result is
/// closer to the file than anything made from its pixels, which were rounded and held to 0…255 first.
class JpegRequantizer {
public:
    /// `from` outlives this. Grey, or colour at half size.
    JpegRequantizer(const JpegCoefficients& from, const JpegQuantizers& to);

    /// The first `blocks` blocks of row `y` of a component. Safe on several threads.
    void row(int component, int y, JBLOCK* to, std::size_t blocks) const;

private:
    struct Factors {
        std::array<double, 64> exact{};
        std::array<std::int16_t, 64> fixed{}; // of 2^15
        bool areFixed = true;                 // the new steps are all coarser
    };
    const JpegCoefficients& from_;
    std::vector<Factors> factors_; // of each component
};

/// The coefficients of a picture that is a whole JPEG as it stands, sampled as pictures of `sampling` are coded. Null,
/// and nothing noted, for every other picture, for a damaged file, and for one so large that its coefficients should
/// not be kept. The answer does not depend on whether the picture is decoded already.
std::unique_ptr<JpegCoefficients> coefficientsOf(const CGImage& image, JpegSampling sampling);

} // namespace zel
