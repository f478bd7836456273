#include <zel/platform/codecs/modules/tiff_module.h>

#include <zel/export.h>
#include <zel/platform/foundation/modules.h>

#include <tiffio.h>

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <memory>
#include <new>

// libtiff behind the module's interface. Nothing of ours is linked; nothing is thrown, and whatever libtiff calls back
// is noexcept.
namespace zel::tiff {

struct Reader {
    Input input;
    std::uint64_t position = 0;
    TIFF* file = nullptr;
    std::unique_ptr<TIFFRGBAImage> rgba;
    std::uint16_t fax = 0; ///< its compression, where that is one of facsimile
    std::uint32_t faxOptions = 0;
    std::uint32_t faxPart = 0; ///< the strip or tile that is being decoded
};

struct Writer {
    Output output;
    std::uint64_t position = 0, end = 0;
    TIFF* file = nullptr;
    std::uint32_t nextRow = 0;
};

namespace {

constexpr tmsize_t mostMemoryAtOnce = tmsize_t{256} << 20U;
constexpr std::uint64_t wantedStripBytes = 64U << 10U;

// --- What libtiff calls ---

template <class Context>
int complain(TIFF*, void* context, const char*, const char* format, va_list arguments) noexcept
{
    char text[256];
    std::vsnprintf(text, sizeof text, format, arguments);
    const auto& sink = *static_cast<Context*>(context);
    if (sink.complain != nullptr)
        sink.complain(sink.context, text);
    return 1; // dealt with: nothing goes to handlers of the process
}

int ignore(TIFF*, void*, const char*, const char*, va_list) noexcept
{
    return 1;
}

tmsize_t readInput(thandle_t handle, void* into, tmsize_t count) noexcept
{
    Reader& reader = *static_cast<Reader*>(handle);
    if (count <= 0)
        return 0;
    const std::size_t got =
        reader.input.read(reader.input.context, reader.position, into, static_cast<std::size_t>(count));
    reader.position += got;
    return static_cast<tmsize_t>(got);
}

tmsize_t writeOutput(thandle_t handle, void* from, tmsize_t count) noexcept
{
    Writer& writer = *static_cast<Writer*>(handle);
    if (count <= 0 ||
        !writer.output.write(writer.output.context, writer.position, from, static_cast<std::size_t>(count)))
        return 0;
    writer.position += static_cast<std::uint64_t>(count);
    writer.end = std::max(writer.end, writer.position);
    return count;
}

tmsize_t nothing(thandle_t, void*, tmsize_t) noexcept
{
    return 0;
}

template <class File>
toff_t sizeOf(thandle_t handle) noexcept
{
    if constexpr (std::is_same_v<File, Reader>)
        return static_cast<File*>(handle)->input.size;
    else
        return static_cast<File*>(handle)->end;
}

template <class File>
toff_t seek(thandle_t handle, toff_t offset, int from) noexcept
{
    File& file = *static_cast<File*>(handle);
    const toff_t base = from == SEEK_CUR ? file.position : from == SEEK_END ? sizeOf<File>(handle) : 0;
    file.position = base + offset; // wraps for negative offsets, as meant
    return file.position;
}

int closeNothing(thandle_t) noexcept
{
    return 0;
}

template <class File, class Context>
TIFF* openFile(File& file, Context& context, const char* mode, TIFFReadWriteProc read, TIFFReadWriteProc write)
{
    TIFFOpenOptions* const options = TIFFOpenOptionsAlloc();
    if (options == nullptr)
        return nullptr;
    TIFFOpenOptionsSetMaxSingleMemAlloc(options, mostMemoryAtOnce);
    TIFFOpenOptionsSetErrorHandlerExtR(options, complain<Context>, &context);
    TIFFOpenOptionsSetWarningHandlerExtR(options, ignore, nullptr);
    TIFF* const opened = TIFFClientOpenExt("picture", mode, &file, read, write, seek<File>, closeNothing, sizeOf<File>,
                                           nullptr, nullptr, options);
    TIFFOpenOptionsFree(options);
    return opened;
}

// --- Reading ---

template <class Value>
Value tag(TIFF* file, std::uint32_t name, Value otherwise)
{
    Value value = otherwise;
    return TIFFGetFieldDefaulted(file, name, &value) == 1 ? value : otherwise;
}

void close(Reader* reader)
{
    if (reader->rgba)
        TIFFRGBAImageEnd(reader->rgba.get());
    if (reader->file != nullptr)
        TIFFClose(reader->file);
    delete reader;
}

void fill(TIFF* file, Header& header)
{
    header.width = tag<std::uint32_t>(file, TIFFTAG_IMAGEWIDTH, 0);
    header.height = tag<std::uint32_t>(file, TIFFTAG_IMAGELENGTH, 0);
    header.bitsPerSample = tag<std::uint16_t>(file, TIFFTAG_BITSPERSAMPLE, 1);
    header.samplesPerPixel = tag<std::uint16_t>(file, TIFFTAG_SAMPLESPERPIXEL, 1);
    header.sampleFormat = tag<std::uint16_t>(file, TIFFTAG_SAMPLEFORMAT, SAMPLEFORMAT_UINT);
    header.photometric = tag<std::uint16_t>(file, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISWHITE);
    header.compression = tag<std::uint16_t>(file, TIFFTAG_COMPRESSION, COMPRESSION_NONE);
    header.canDecompress = TIFFIsCODECConfigured(header.compression) != 0;
    header.planarConfiguration = tag<std::uint16_t>(file, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG);
    header.inkSet = tag<std::uint16_t>(file, TIFFTAG_INKSET, INKSET_CMYK);
    header.orientation = tag<std::uint16_t>(file, TIFFTAG_ORIENTATION, ORIENTATION_TOPLEFT);
    header.resolutionUnit = tag<std::uint16_t>(file, TIFFTAG_RESOLUTIONUNIT, RESUNIT_INCH);
    header.xResolution = tag<float>(file, TIFFTAG_XRESOLUTION, 0);
    header.yResolution = tag<float>(file, TIFFTAG_YRESOLUTION, 0);

    std::uint16_t* extras = nullptr;
    if (TIFFGetField(file, TIFFTAG_EXTRASAMPLES, &header.extraSampleCount, &extras) == 1)
        header.extraSamples = extras;
    else
        header.extraSampleCount = 0;
    std::uint16_t *red = nullptr, *green = nullptr, *blue = nullptr;
    if (header.bitsPerSample <= 16 && TIFFGetField(file, TIFFTAG_COLORMAP, &red, &green, &blue) == 1) {
        header.colorMap[0] = red;
        header.colorMap[1] = green;
        header.colorMap[2] = blue;
    }
    void* profile = nullptr;
    if (TIFFGetField(file, TIFFTAG_ICCPROFILE, &header.profileSize, &profile) == 1)
        header.profile = profile;
    else
        header.profileSize = 0;

    if (TIFFIsTiled(file) != 0) {
        header.tileWidth = tag<std::uint32_t>(file, TIFFTAG_TILEWIDTH, 0);
        header.tileHeight = tag<std::uint32_t>(file, TIFFTAG_TILELENGTH, 0);
        header.rowBytes = TIFFTileRowSize64(file);
        header.tileBytes = TIFFTileSize64(file);
    } else {
        header.rowsPerStrip = std::clamp<std::uint32_t>(tag<std::uint32_t>(file, TIFFTAG_ROWSPERSTRIP, 0xFFFFFFFF), 1,
                                                        std::max<std::uint32_t>(1, header.height));
        header.rowBytes = TIFFScanlineSize64(file);
    }
}

Reader* open(const Input& input, Header& header)
{
    std::unique_ptr<Reader> reader(new (std::nothrow) Reader);
    if (!reader)
        return nullptr;
    reader->input = input;
    // m: the file is never mapped.
    reader->file = openFile(*reader, reader->input, "rm", readInput, nothing);
    if (reader->file == nullptr)
        return nullptr;
    if (tag<std::uint16_t>(reader->file, TIFFTAG_COMPRESSION, COMPRESSION_NONE) == COMPRESSION_JPEG &&
        tag<std::uint16_t>(reader->file, TIFFTAG_PHOTOMETRIC, PHOTOMETRIC_MINISWHITE) == PHOTOMETRIC_YCBCR &&
        tag<std::uint16_t>(reader->file, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG) == PLANARCONFIG_CONTIG)
        header.yCbCrAsRgb = TIFFSetField(reader->file, TIFFTAG_JPEGCOLORMODE, JPEGCOLORMODE_RGB) == 1;
    fill(reader->file, header);
    if (header.compression >= COMPRESSION_CCITTRLE && header.compression <= COMPRESSION_CCITTFAX4)
        reader->fax = header.compression;
    if (reader->fax == COMPRESSION_CCITTFAX3)
        TIFFGetField(reader->file, TIFFTAG_GROUP3OPTIONS, &reader->faxOptions);
    return reader.release();
}

bool isWhole(Reader* reader)
{
    const std::uint32_t count =
        TIFFIsTiled(reader->file) != 0 ? TIFFNumberOfTiles(reader->file) : TIFFNumberOfStrips(reader->file);
    for (std::uint32_t i = 0; i < count; ++i) {
        const std::uint64_t offset = TIFFGetStrileOffset(reader->file, i);
        if (offset > reader->input.size || TIFFGetStrileByteCount(reader->file, i) > reader->input.size - offset)
            return false;
    }
    return true;
}

/// Of facsimile, where data are damaged, libtiff takes up what it decoded in another strip or tile: it is to begin each
/// one without a memory, so that a part of a picture is what it is in the whole.
void beginFax(Reader& reader, std::uint32_t part)
{
    if (reader.fax == 0 || reader.faxPart == part)
        return;
    reader.faxPart = part;
    TIFFSetField(reader.file, TIFFTAG_COMPRESSION, COMPRESSION_NONE);
    TIFFSetField(reader.file, TIFFTAG_COMPRESSION, reader.fax);
    if (reader.fax == COMPRESSION_CCITTFAX3)
        TIFFSetField(reader.file, TIFFTAG_GROUP3OPTIONS, reader.faxOptions);
}

bool readRow(Reader* reader, std::uint32_t row, std::uint16_t plane, void* into)
{
    beginFax(*reader, TIFFComputeStrip(reader->file, row, plane));
    return TIFFReadScanline(reader->file, into, row, plane) == 1;
}

std::size_t readTile(Reader* reader, std::uint32_t x, std::uint32_t y, std::uint16_t plane, void* into)
{
    beginFax(*reader, TIFFComputeTile(reader->file, x, y, 0, plane));
    const tmsize_t got = TIFFReadTile(reader->file, into, x, y, 0, plane);
    return got > 0 ? static_cast<std::size_t>(got) : 0;
}

bool beginRgba(Reader* reader, bool& hasAlpha)
{
    char reason[1024] = "";
    reader->rgba.reset(new (std::nothrow) TIFFRGBAImage{});
    if (!reader->rgba)
        return false;
    if (TIFFRGBAImageOK(reader->file, reason) == 0 ||
        TIFFRGBAImageBegin(reader->rgba.get(), reader->file, 0, reason) == 0) {
        reader->rgba.reset();
        if (reason[0] != 0)
            reader->input.complain(reader->input.context, reason);
        return false;
    }
    // Rows come as they are stored: turning them is not libtiff's business here.
    reader->rgba->req_orientation = reader->rgba->orientation;
    hasAlpha = reader->rgba->alpha != 0;
    return true;
}

bool readRgba(Reader* reader, std::uint32_t first, std::uint32_t rows, void* into)
{
    TIFFRGBAImage& image = *reader->rgba;
    image.row_offset = static_cast<int>(first);
    auto* const pixels = static_cast<std::uint32_t*>(into);
    const bool good = TIFFRGBAImageGet(&image, pixels, image.width, rows) != 0;
    const std::size_t count = static_cast<std::size_t>(image.width) * rows;
    for (std::size_t i = 0; i < count; ++i) {
        const std::uint32_t pixel = pixels[i];
        const std::uint8_t bytes[] = {
            static_cast<std::uint8_t>(TIFFGetR(pixel)), static_cast<std::uint8_t>(TIFFGetG(pixel)),
            static_cast<std::uint8_t>(TIFFGetB(pixel)), static_cast<std::uint8_t>(TIFFGetA(pixel))};
        std::memcpy(pixels + i, bytes, sizeof bytes);
    }
    return good;
}

// --- Writing ---

bool describe(TIFF* file, const NewFile& wanted)
{
    const std::uint64_t rowBytes = std::uint64_t{wanted.width} * wanted.samplesPerPixel * (wanted.bitsPerSample / 8U);
    const std::uint64_t rowsPerStrip =
        std::max<std::uint64_t>(1, wantedStripBytes / std::max<std::uint64_t>(1, rowBytes));
    const bool gray = wanted.samplesPerPixel - (wanted.extraSample != 0 ? 1 : 0) == 1;
    bool good = TIFFSetField(file, TIFFTAG_IMAGEWIDTH, wanted.width) == 1 &&
                TIFFSetField(file, TIFFTAG_IMAGELENGTH, wanted.height) == 1 &&
                TIFFSetField(file, TIFFTAG_BITSPERSAMPLE, unsigned{wanted.bitsPerSample}) == 1 &&
                TIFFSetField(file, TIFFTAG_SAMPLESPERPIXEL, unsigned{wanted.samplesPerPixel}) == 1 &&
                TIFFSetField(file, TIFFTAG_SAMPLEFORMAT, SAMPLEFORMAT_UINT) == 1 &&
                TIFFSetField(file, TIFFTAG_PHOTOMETRIC, gray ? PHOTOMETRIC_MINISBLACK : PHOTOMETRIC_RGB) == 1 &&
                TIFFSetField(file, TIFFTAG_PLANARCONFIG, PLANARCONFIG_CONTIG) == 1 &&
                TIFFSetField(file, TIFFTAG_ORIENTATION, ORIENTATION_TOPLEFT) == 1 &&
                TIFFSetField(file, TIFFTAG_COMPRESSION, COMPRESSION_LZW) == 1 &&
                TIFFSetField(file, TIFFTAG_PREDICTOR, PREDICTOR_HORIZONTAL) == 1 &&
                TIFFSetField(file, TIFFTAG_ROWSPERSTRIP, static_cast<std::uint32_t>(rowsPerStrip)) == 1;
    if (wanted.extraSample != 0)
        good = good && TIFFSetField(file, TIFFTAG_EXTRASAMPLES, 1U, &wanted.extraSample) == 1;
    // Both figures are required; without a unit, 1 says no more than that pixels are square.
    const bool known = wanted.xResolution > 0 && wanted.yResolution > 0;
    good = good && TIFFSetField(file, TIFFTAG_RESOLUTIONUNIT, known ? RESUNIT_INCH : RESUNIT_NONE) == 1 &&
           TIFFSetField(file, TIFFTAG_XRESOLUTION, known ? static_cast<double>(wanted.xResolution) : 1.0) == 1 &&
           TIFFSetField(file, TIFFTAG_YRESOLUTION, known ? static_cast<double>(wanted.yResolution) : 1.0) == 1;
    if (wanted.profileSize > 0)
        good = good && TIFFSetField(file, TIFFTAG_ICCPROFILE, wanted.profileSize, wanted.profile) == 1;
    return good;
}

bool finish(Writer* writer, bool complete)
{
    const bool good = complete && TIFFWriteDirectory(writer->file) == 1;
    if (good)
        TIFFClose(writer->file);
    else
        TIFFCleanup(writer->file); // frees it without writing anything more
    delete writer;
    return good;
}

Writer* create(const Output& output, const NewFile& wanted)
{
    std::unique_ptr<Writer> writer(new (std::nothrow) Writer);
    if (!writer)
        return nullptr;
    writer->output = output;
    writer->file = openFile(*writer, writer->output, wanted.big ? "w8" : "w", nothing, writeOutput);
    if (writer->file == nullptr)
        return nullptr;
    if (!describe(writer->file, wanted)) {
        TIFFCleanup(writer->file);
        return nullptr;
    }
    return writer.release();
}

bool writeRow(Writer* writer, void* samples)
{
    return TIFFWriteScanline(writer->file, samples, writer->nextRow++, 0) == 1;
}

constexpr Api api = {open, close, isWhole, readRow, readTile, beginRgba, readRgba, create, writeRow, finish};

} // namespace
} // namespace zel::tiff

extern "C" ZEL_API zel::ModuleEntry zel_module()
{
    return {zel::tiff::Api::version, &zel::tiff::api};
}
