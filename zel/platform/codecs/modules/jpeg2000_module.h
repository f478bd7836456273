#pragma once
#include <cstddef>
#include <cstdint>

// What the JPEG 2000 codec and the module that links OpenJPEG say to one another: plain functions over plain data.
namespace zel::jpeg2000 {

inline constexpr std::uint32_t mostComponents = 5;

enum class Colors { unstated, srgb, gray, sycc, eycc, cmyk };

struct Component {
    std::uint32_t dx = 1, dy = 1;        ///< a sample stands for so many units of the grid
    std::uint32_t width = 0, height = 0; ///< of what was decoded
    std::uint32_t bits = 8;
    bool isSigned = false;
    std::uint16_t alpha = 0;               ///< 1 opacity, 2 opacity by which colours are multiplied
    const std::int32_t* samples = nullptr; ///< until `close`; null where there are none
};

struct Picture {
    std::uint32_t components = 0;
    Component component[mostComponents];
    Colors colors = Colors::unstated;
    const std::uint8_t* profile = nullptr; ///< until `close`
    std::size_t profileSize = 0;
};

struct Input {
    const std::uint8_t* bytes = nullptr;
    std::size_t size = 0;
    bool isBoxed = false;
    bool isCut = false; ///< the bytes end before the codestream does: its end is put behind them
    int reduction = 0;  ///< sides are halved so often
    int threads = 1;
    /// Rows of the grid that are decoded at once, in which case the picture is one tile; 0 for all of them.
    std::uint32_t stripRows = 0;
    bool isProof = false; ///< of the first strip, the beginning alone; the picture may be of any tiles
    bool (*goOn)(void* context, double fraction) = nullptr; ///< asked as bytes are read and
                                                            ///< between strips; false stops
    void* context = nullptr;
};

struct Reader;

struct Api {
    static constexpr std::uint32_t version = 2;

    /// Reads the header. Null where it makes no sense to OpenJPEG.
    Reader* (*open)(const Input& input);
    void (*close)(Reader* reader);
    /// Decodes all samples; those of tiles that are missing are 0. A palette becomes what it stands for.
    bool (*decode)(Reader* reader, Picture& picture);
    /// True where OpenJPEG found something wrong.
    bool (*complained)(const Reader* reader);
};

} // namespace zel::jpeg2000
