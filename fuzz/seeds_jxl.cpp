#include "seeds_modern.h"

#ifdef ZEL_JXL
#include <jxl/encode.h>
#include <jxl/encode_cxx.h>
#endif

namespace zel::seeds {

#ifdef ZEL_JXL
Bytes encodeJxl(const Coded& coded)
{
    const JxlEncoderPtr encoder = JxlEncoderMake(nullptr);
    JxlBasicInfo info;
    JxlEncoderInitBasicInfo(&info);
    info.xsize = static_cast<std::uint32_t>(coded.width);
    info.ysize = static_cast<std::uint32_t>(coded.height);
    info.bits_per_sample = static_cast<std::uint32_t>(coded.bits);
    info.num_color_channels = coded.components < 3 ? 1 : 3;
    info.num_extra_channels = coded.components % 2 == 0 ? 1 : 0;
    info.alpha_bits = coded.components % 2 == 0 ? info.bits_per_sample : 0;
    info.uses_original_profile = coded.isLossy ? JXL_FALSE : JXL_TRUE;
    info.orientation = static_cast<JxlOrientation>(coded.orientation);
    if (coded.frames > 1) {
        info.have_animation = JXL_TRUE;
        info.animation.tps_numerator = info.animation.tps_denominator = 1;
    }
    JxlColorEncoding colors;
    JxlColorEncodingSetToSRGB(&colors, info.num_color_channels == 1 ? JXL_TRUE : JXL_FALSE);
    if (JxlEncoderSetBasicInfo(encoder.get(), &info) != JXL_ENC_SUCCESS ||
        JxlEncoderSetColorEncoding(encoder.get(), &colors) != JXL_ENC_SUCCESS)
        return {};
    std::vector<std::uint16_t> wide;
    Bytes narrow;
    for (int y = 0; y < coded.height; ++y)
        for (int x = 0; x < coded.width; ++x)
            for (int i = 0; i < coded.components; ++i) {
                wide.push_back(static_cast<std::uint16_t>(codedSample(coded, x, y, i)));
                narrow.push_back(static_cast<std::uint8_t>(wide.back()));
            }
    const JxlPixelFormat format = {static_cast<std::uint32_t>(coded.components),
                                   coded.bits > 8 ? JXL_TYPE_UINT16 : JXL_TYPE_UINT8, JXL_NATIVE_ENDIAN, 0};
    JxlEncoderFrameSettings* const settings = JxlEncoderFrameSettingsCreate(encoder.get(), nullptr);
    JxlEncoderSetFrameLossless(settings, coded.isLossy ? JXL_FALSE : JXL_TRUE);
    for (int frame = 0; frame < coded.frames; ++frame) {
        JxlFrameHeader header;
        JxlEncoderInitFrameHeader(&header);
        header.duration = coded.frames > 1 ? 1 : 0;
        JxlEncoderSetFrameHeader(settings, &header);
        const JxlEncoderStatus added = coded.bits > 8
                                           ? JxlEncoderAddImageFrame(settings, &format, wide.data(), wide.size() * 2)
                                           : JxlEncoderAddImageFrame(settings, &format, narrow.data(), narrow.size());
        if (added != JXL_ENC_SUCCESS)
            return {};
    }
    JxlEncoderCloseInput(encoder.get());
    Bytes bytes(std::size_t{1} << 16);
    std::uint8_t* next = bytes.data();
    std::size_t room = bytes.size();
    if (JxlEncoderProcessOutput(encoder.get(), &next, &room) != JXL_ENC_SUCCESS)
        return {};
    bytes.resize(bytes.size() - room);
    return bytes;
}
#else
Bytes encodeJxl(const Coded&)
{
    return {};
}
#endif

std::vector<Seed> jxlSeeds()
{
    std::vector<Seed> seeds;
    for (const Coded& coded : {
             Coded{.name = "jxl-colour", .width = 19, .height = 12},
             Coded{.name = "jxl-grey-alpha-16", .width = 9, .height = 14, .components = 2, .bits = 16},
             Coded{.name = "jxl-lossy", .width = 24, .height = 16, .components = 4, .isLossy = true},
         })
        if (Bytes bytes = encodeJxl(coded); !bytes.empty())
            seeds.push_back({coded.name, std::move(bytes), coded.width, coded.height});
    return seeds;
}

} // namespace zel::seeds
