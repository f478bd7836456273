#pragma once
#include <zel/platform/codecs/modules/heif_coding.h>

#include <cstddef>
#include <cstdint>

// What the HEIF codec and the module that links the decoders of HEVC and AV1 say to one another: plain functions over
// plain data. The module knows coded pictures; boxes, grids, colours and everything about our pictures is the codec's.
namespace zel::heif {

/// One coded picture, and what decoding it may cost.
struct CodedPicture {
    Coding coding = Coding::hevc;
    const std::uint8_t* configuration = nullptr; ///< the payload of hvcC; not needed for AV1
    std::size_t configurationSize = 0;
    const std::uint8_t* data = nullptr;
    std::size_t size = 0;
    int threads = 1;
    std::uint64_t mostPixels = 0;                ///< more are refused before memory for them is asked for
    bool (*isUnwanted)(void* context) = nullptr; ///< asked now and then; true ends the decoding. Throws nothing.
    void* context = nullptr;
};

/// Decoded samples: 8 bits each, or `bits` of 16 in the machine's byte order.
struct Planes {
    const std::uint8_t* data[3] = {};       ///< luma, Cb, Cr; luma alone where there is no colour
    std::ptrdiff_t stride[3] = {};          ///< bytes
    int width = 0, height = 0;              ///< of luma
    int chromaShiftX = 0, chromaShiftY = 0; ///< 1 where Cb and Cr have half the samples (rounded up)
    bool hasColor = false;
    int bits = 8;
    bool isDamaged = false; ///< parts could not be decoded
    /// Of what the stream itself states of its colours (ITU-T H.273); 2 = nothing.
    int primaries = 2, transfer = 2, matrix = 2;
    bool isFullRange = false;
};

struct Decoded;

struct Api {
    static constexpr std::uint32_t version = 1;

    /// The first picture of the data. Null where there is none; `trouble` then says why, in words that live on.
    Decoded* (*decode)(const CodedPicture& picture, Planes& planes, const char*& trouble);
    /// Ends the life of its planes.
    void (*release)(Decoded* decoded);
};

} // namespace zel::heif
