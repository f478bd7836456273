#pragma once
#include "edit_chain.h"

#include <zel/io/encode.h>

#include <stop_token>

namespace zel::viewer {

struct ExportOrder {
    EditChain edits = {};
    URL file = {};
    ZelImageHelper::FileType format = ZelImageHelper::FileType::jpeg;
    double quality = 0.85; ///< of JPEG and HEIF, 0 to 1
    std::optional<std::int64_t> mostBytes =
        {}; ///< of JPEG and HEIF; then the quality, and where need be the size, follow
};

struct ExportResult {
    bool isWritten = false;
    bool isCancelled = false;
    CGSize size = {};         ///< of the file's picture, in pixels
    std::int64_t bytes = 0;   ///< of the file
    std::string message = {}; ///< why nothing was written
};

/// Whether a format's files can be held to a number of bytes.
bool canBeLimited(ZelImageHelper::FileType format);

/// Edits the full picture and writes it. The file stands there whole, or as it was before. The resolution of the
/// picture is recorded. For a background thread; `report` gets fractions of the work, on any thread.
ExportResult exportPicture(const Ref<ZelImage>& picture, const ExportOrder& order,
                           const std::function<void(double)>& report = {}, const std::stop_token& stop = {});

} // namespace zel::viewer
