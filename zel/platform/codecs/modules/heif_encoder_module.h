#pragma once
#include <zel/platform/codecs/modules/heif_coding.h>

#include <cstddef>
#include <cstdint>

// What the HEIF encoder and the module that links libheif say to one another: plain functions over plain data. Samples
// are made here; containers and compression are the module's.
namespace zel::heif {

/// Half the colour resolution, full range, sRGB's own numbers (ITU-T H.273: 1, 13, 6).
struct NewPicture {
    int width = 0, height = 0;
    int bits = 8; ///< 8, or 10 of 16 in the machine's byte order
    bool hasAlpha = false;
    const void* profile = nullptr; ///< ICC
    std::size_t profileSize = 0;
};

/// Where the samples go: luma, Cb and Cr (sides halved, rounded up), alpha.
struct WritablePlanes {
    std::uint8_t* data[4] = {};
    std::ptrdiff_t stride[4] = {}; ///< bytes
};

struct NewFile {
    void* context = nullptr;
    bool (*write)(void* context, const void* from, std::size_t count) = nullptr; ///< throws nothing
    Coding coding = Coding::hevc;
    double quality = 0; ///< 0...1
    int threads = 1;
    char trouble[256] = {}; ///< says why, where it cannot be written
};

struct Picture;

struct EncoderApi {
    static constexpr std::uint32_t version = 2;

    /// False where libheif was built without an encoder for it, and the plugin that brings one is not installed.
    bool (*canEncode)(Coding coding);
    /// Null where there is no memory.
    Picture* (*create)(const NewPicture& wanted, WritablePlanes& planes);
    /// The same picture may be encoded by several threads.
    bool (*encode)(const Picture* picture, NewFile& file);
    void (*release)(Picture* picture);
};

} // namespace zel::heif
