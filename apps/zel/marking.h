#pragma once
#include "pictures.h"

#include <zel/operations/watermark.h>

namespace zel::program {

/// "Bottom Right", "bottom-right", "bottomRight"
ZelWatermark::Position readPosition(std::string_view text);
/// Above 0; 1 is as large as fits.
double readScale(std::string_view text);
/// 0 to 1
double readOpacity(std::string_view text);

/// The watermark that a picture gets.
struct MarkingOptions {
    std::optional<std::string> file;
    std::optional<ZelWatermark::Position> position;
    std::optional<double> scale, opacity;
    std::optional<std::string> settings; ///< a JSON file with the fields of ZelWatermark

    void declare(Arguments& arguments, bool withSettings);
    /// Refuses flags without a watermark, or beside settings.
    void check() const;
    /// The files that marking reads.
    [[nodiscard]] std::vector<std::string> files() const;
    /// What is drawn and how. Null picture with the reason noted where the file is no picture; throws UsageError where
    /// the settings are none.
    [[nodiscard]] WatermarkWith load() const;
};

} // namespace zel::program
