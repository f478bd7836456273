#include "seeds_modern.h"

#ifdef ZEL_OPENJPEG
#include <openjpeg.h>

#include <algorithm>
#endif

namespace zel::seeds {

int codedSample(const Coded& coded, int x, int y, int component)
{
    const int value = sample(x, y, component);
    return coded.bits >= 8 ? value << (coded.bits - 8) | value >> (16 - coded.bits) : value >> (8 - coded.bits);
}

#ifdef ZEL_OPENJPEG
namespace {

struct Memory {
    Bytes bytes;
    std::size_t at = 0;
};

OPJ_SIZE_T write(void* from, OPJ_SIZE_T count, void* to)
{
    Memory& memory = *static_cast<Memory*>(to);
    memory.bytes.resize(std::max(memory.bytes.size(), memory.at + count));
    std::copy_n(static_cast<std::uint8_t*>(from), count, memory.bytes.begin() + static_cast<std::ptrdiff_t>(memory.at));
    memory.at += count;
    return count;
}

OPJ_BOOL seek(OPJ_OFF_T offset, void* to)
{
    static_cast<Memory*>(to)->at = static_cast<std::size_t>(offset);
    return OPJ_TRUE;
}

OPJ_OFF_T skip(OPJ_OFF_T count, void* to)
{
    static_cast<Memory*>(to)->at += static_cast<std::size_t>(count);
    return count;
}

} // namespace

Bytes encodeJpeg2000(const Coded& coded)
{
    std::vector<opj_image_cmptparm_t> kinds(static_cast<std::size_t>(coded.components));
    for (std::size_t i = 0; i < kinds.size(); ++i) {
        const int step = coded.isYcc && i > 0 ? 2 : 1;
        kinds[i] = {};
        kinds[i].dx = kinds[i].dy = static_cast<OPJ_UINT32>(step);
        kinds[i].w = static_cast<OPJ_UINT32>((coded.width + step - 1) / step);
        kinds[i].h = static_cast<OPJ_UINT32>((coded.height + step - 1) / step);
        kinds[i].prec = static_cast<OPJ_UINT32>(coded.bits);
        kinds[i].sgnd = coded.isSigned ? 1 : 0;
    }
    opj_image_t* const image = opj_image_create(static_cast<OPJ_UINT32>(kinds.size()), kinds.data(),
                                                coded.isYcc            ? OPJ_CLRSPC_SYCC
                                                : coded.components < 3 ? OPJ_CLRSPC_GRAY
                                                                       : OPJ_CLRSPC_SRGB);
    image->x1 = static_cast<OPJ_UINT32>(coded.width);
    image->y1 = static_cast<OPJ_UINT32>(coded.height);
    for (std::size_t i = 0; i < kinds.size(); ++i) {
        opj_image_comp_t& component = image->comps[i];
        component.alpha = coded.components % 2 == 0 && i + 1 == kinds.size() ? 1 : 0;
        const int step = static_cast<int>(component.dx), width = static_cast<int>(component.w);
        for (int at = 0; at < width * static_cast<int>(component.h); ++at)
            component.data[at] = codedSample(coded, at % width * step, at / width * step, static_cast<int>(i)) -
                                 (coded.isSigned ? 1 << (coded.bits - 1) : 0);
    }
    opj_cparameters_t parameters;
    opj_set_default_encoder_parameters(&parameters);
    parameters.numresolution = std::min(coded.width, coded.height) < 4 ? 1 : 3;
    parameters.tcp_mct = coded.components >= 3 && !coded.isYcc ? 1 : 0;
    if (coded.tile > 0) {
        parameters.tile_size_on = OPJ_TRUE;
        parameters.cp_tdx = parameters.cp_tdy = coded.tile;
    }
    Memory memory;
    opj_codec_t* const codec = opj_create_compress(coded.isBoxed ? OPJ_CODEC_JP2 : OPJ_CODEC_J2K);
    opj_stream_t* const stream = opj_stream_default_create(OPJ_FALSE);
    opj_stream_set_user_data(stream, &memory, nullptr);
    opj_stream_set_write_function(stream, write);
    opj_stream_set_seek_function(stream, seek);
    opj_stream_set_skip_function(stream, skip);
    const bool isWritten = opj_setup_encoder(codec, &parameters, image) != 0 &&
                           opj_start_compress(codec, image, stream) != 0 && opj_encode(codec, stream) != 0 &&
                           opj_end_compress(codec, stream) != 0;
    opj_stream_destroy(stream);
    opj_destroy_codec(codec);
    opj_image_destroy(image);
    return isWritten ? memory.bytes : Bytes();
}
#else
Bytes encodeJpeg2000(const Coded&)
{
    return {};
}
#endif

std::vector<Seed> jpeg2000Seeds()
{
    std::vector<Seed> seeds;
    for (const Coded& coded : {
             Coded{.name = "jp2-colour", .width = 21, .height = 13},
             Coded{.name = "jp2-grey-alpha", .width = 9, .height = 16, .components = 2},
             Coded{.name = "jp2-ycc", .width = 15, .height = 10, .isYcc = true},
             Coded{.name = "jp2-stream-12-tiles", .width = 17, .height = 12, .bits = 12, .isBoxed = false, .tile = 8},
         })
        if (Bytes bytes = encodeJpeg2000(coded); !bytes.empty())
            seeds.push_back({coded.name, std::move(bytes), coded.width, coded.height});
    return seeds;
}

} // namespace zel::seeds
