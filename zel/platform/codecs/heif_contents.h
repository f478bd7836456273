#pragma once
#include <zel/platform/codecs/heif_boxes.h>
#include <zel/platform/codecs/modules/heif_module.h>
#include <zel/platform/graphics/pixel_provider.h>

// The primary picture of a HEIF or AVIF file, as its boxes describe it: what has to be decoded, and what becomes of it.
namespace zel::heif {

/// A coded picture within the file.
struct Tile {
    Coding coding = Coding::hevc;
    int width = 0, height = 0;
    bool isCut = false; ///< its data are not all there
    std::vector<Extent> data;
    std::vector<std::uint8_t> configuration;
};

/// A picture put together from tiles of one size, row by row; most have one. The last column and row may hang over.
struct Mosaic {
    int width = 0, height = 0;
    int columns = 1, rows = 1;
    int bits = 8;
    bool hasColor = true;
    std::vector<Ref<const Tile>> tiles; ///< the same one may stand at several places

    [[nodiscard]] int tileWidth() const { return tiles.front()->width; }
    [[nodiscard]] int tileHeight() const { return tiles.front()->height; }
};

/// Numbers of ITU-T H.273.
struct StatedColors {
    int primaries = 2, transfer = 2, matrix = 2;
    bool isFullRange = false;
};

struct Crop {
    int left = 0, top = 0, width = 0, height = 0;
};

struct Contents {
    Mosaic picture;
    std::optional<Mosaic> alpha; ///< of the same size
    bool isPremultiplied = false;
    Crop crop;                                 ///< of the stored picture; all of it where nothing is cut off
    Orientation orientation = Orientation::up; ///< what makes the cropped picture upright
    std::vector<std::uint8_t> profile;         ///< ICC; empty for none
    std::optional<StatedColors> colors;
    bool isCut = false;             ///< some item's data reach beyond the file's end
    int pictures = 1;               ///< that the file shows, this one among them
    std::vector<std::uint8_t> exif; ///< the beginning of the block; empty for none
};

/// Reads the tables and checks sizes against the limits; no picture data are looked at. Absent with the reason noted.
std::optional<Contents> readContents(const ByteSource& source);

} // namespace zel::heif
