// What is said of a file before its pixels are decoded, and the EXIF reader on the bare bytes.
#include "decode_checks.h"
#include "target.h"

#include <zel/platform/codecs/exif_block.h>

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    zel::fuzz::require(zel::checks::problemOfFacts({data, size}));

    const zel::ExifFacts exif = zel::readExifFacts({data, size});
    zel::fuzz::require(exif.orientation >= zel::Orientation::up && exif.orientation <= zel::Orientation::left,
                       "an orientation of the eight");
    for (const double dpi : {exif.dpiX, exif.dpiY}) {
        const double plausible = zel::plausibleDpi(dpi);
        zel::fuzz::require(plausible == 0 || (plausible >= 10 && plausible <= 100'000), "a plausible resolution");
    }
    return 0;
}
