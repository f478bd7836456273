#pragma once
#include <zel/engine/pixels.h>
#include <zel/platform/codecs/modules/heif_encoder_module.h>

#include <vector>

namespace zel::heif {

/// Fills an encoder's planes from rows of straight RGBA, top to bottom: of 8 bits for planes of 8, of 16 for planes of
/// 10. Luma and differences as in JFIF (ITU-T H.273: matrix 6, full range); differences are means of four.
class PlaneWriter {
public:
    PlaneWriter(const NewPicture& picture, const WritablePlanes& planes);
    void put(const engine::ConstPixels& rows);

private:
    void putBytes(const std::uint8_t* rgba);
    void putWords(const std::uint8_t* rgba);
    [[nodiscard]] std::uint8_t* row(int plane, int y) const { return planes_.data[plane] + planes_.stride[plane] * y; }

    const NewPicture& picture_;
    const WritablePlanes& planes_;
    int next_ = 0;
    std::size_t padded_; ///< the width, made even
    // Two rows of each difference, at full size; of words, sums of the rows of a pair.
    std::vector<std::uint8_t> bytes_;
    std::vector<std::uint32_t> sums_;
};

} // namespace zel::heif
