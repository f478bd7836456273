#include <zel/platform/codecs/jpeg_header.h>

#include <algorithm>
#include <numeric>
#include <string_view>

// Segments as ITU-T T.81 annex B, T.871 (JFIF) and ICC.1 annex B.4 lay them out, in the order in which libjpeg writes
// them.
namespace zel {
namespace {

enum Marker : std::uint8_t {
    frame = 0xC0,
    huffmanTable = 0xC4,
    startOfImage = 0xD8,
    startOfScan = 0xDA,
    quantizerTable = 0xDB,
    restartDefinition = 0xDD,
    app0 = 0xE0,
    app2 = 0xE2,
};

class Writer {
public:
    void byte(int value) { bytes.push_back(static_cast<std::uint8_t>(value)); }
    void word(int value)
    {
        byte(value >> 8);
        byte(value & 0xFF);
    }
    void text(std::string_view characters) { bytes.insert(bytes.end(), characters.begin(), characters.end()); }
    void marker(Marker marker)
    {
        byte(0xFF);
        byte(marker);
    }
    /// Begins a segment whose content has so many bytes.
    void segment(Marker code, std::size_t content)
    {
        marker(code);
        word(static_cast<int>(content) + 2);
    }

    std::vector<std::uint8_t> bytes;
};

void writeJfif(Writer& writer)
{
    writer.segment(app0, 14);
    writer.text(std::string_view("JFIF\0", 5));
    writer.word(0x0101); // version 1.01
    writer.byte(0);      // no unit: the densities are a ratio
    writer.word(1);
    writer.word(1);
    writer.word(0); // no thumbnail
}

void writeProfile(Writer& writer, std::span<const std::uint8_t> profile)
{
    constexpr std::string_view name("ICC_PROFILE\0", 12);
    constexpr std::size_t pieceBytes = 65535 - 2 - name.size() - 2;
    const std::size_t pieces = (profile.size() + pieceBytes - 1) / pieceBytes;
    if (pieces > 255)
        return; // no way to number them
    for (std::size_t piece = 0; piece < pieces; ++piece) {
        const auto part =
            profile.subspan(piece * pieceBytes, std::min(pieceBytes, profile.size() - piece * pieceBytes));
        writer.segment(app2, name.size() + 2 + part.size());
        writer.text(name);
        writer.byte(static_cast<int>(piece) + 1);
        writer.byte(static_cast<int>(pieces));
        writer.bytes.insert(writer.bytes.end(), part.begin(), part.end());
    }
}

void writeQuantizers(Writer& writer, const JpegQuantizers& quantizers, int tables)
{
    for (int table = 0; table < tables; ++table) {
        writer.segment(quantizerTable, 65);
        writer.byte(table);
        for (const std::uint8_t place : jpegZigzag)
            writer.byte(quantizers[static_cast<std::size_t>(table)][place]);
    }
}

void writeFrame(Writer& writer, int width, int height, JpegSampling sampling)
{
    const int components = componentsOf(sampling);
    writer.segment(frame, static_cast<std::size_t>(6 + 3 * components));
    writer.byte(8); // bits a sample
    writer.word(height);
    writer.word(width);
    writer.byte(components);
    for (int component = 0; component < components; ++component) {
        writer.byte(component + 1);
        writer.byte(sampling == JpegSampling::half && component == 0 ? 0x22 : 0x11);
        writer.byte(component == 0 ? 0 : 1);
    }
}

void writeHuffman(Writer& writer, const JHUFF_TBL& table, int selector)
{
    const int symbols = std::accumulate(table.bits + 1, table.bits + 17, 0);
    writer.segment(huffmanTable, static_cast<std::size_t>(17 + symbols));
    writer.byte(selector);
    writer.bytes.insert(writer.bytes.end(), table.bits + 1, table.bits + 17);
    writer.bytes.insert(writer.bytes.end(), table.huffval, table.huffval + symbols);
}

void writeScan(Writer& writer, JpegSampling sampling)
{
    const int components = componentsOf(sampling);
    writer.segment(startOfScan, static_cast<std::size_t>(4 + 2 * components));
    writer.byte(components);
    for (int component = 0; component < components; ++component) {
        writer.byte(component + 1);
        writer.byte(component == 0 ? 0x00 : 0x11);
    }
    writer.byte(0); // all coefficients at once
    writer.byte(63);
    writer.byte(0);
}

} // namespace

std::vector<std::uint8_t> makeJpegHeader(int width, int height, JpegSampling sampling, const JpegQuantizers& quantizers,
                                         const JpegStripCoder& coder, int restartInterval,
                                         std::span<const std::uint8_t> profile)
{
    const int tables = sampling == JpegSampling::grey ? 1 : 2;
    Writer writer;
    writer.marker(startOfImage);
    writeJfif(writer);
    writeProfile(writer, profile);
    writeQuantizers(writer, quantizers, tables);
    writeFrame(writer, width, height, sampling);
    for (int table = 0; table < tables; ++table) {
        writeHuffman(writer, *coder.dcTable(table), table);
        writeHuffman(writer, *coder.acTable(table), 0x10 | table);
    }
    if (restartInterval > 0) {
        writer.segment(restartDefinition, 2);
        writer.word(restartInterval);
    }
    writeScan(writer, sampling);
    return std::move(writer.bytes);
}

} // namespace zel
