#pragma once
#include <zel/platform/foundation/ref.h>
#include <zel/platform/graphics/matrix_shaper.h>

#include <lcms2.h>

// lcms2 as this folder uses it: one context for all threads, bounded memory, nothing printed.
namespace zel {

struct IccCloser {
    void operator()(cmsHPROFILE profile) const { cmsCloseProfile(profile); }
};
struct IccTransformDeleter {
    void operator()(cmsHTRANSFORM transform) const { cmsDeleteTransform(transform); }
};
using IccProfile = std::unique_ptr<void, IccCloser>;
using IccTransform = std::unique_ptr<void, IccTransformDeleter>;

/// Null when the bytes are no profile of a device's or a space's colours.
IccProfile openIccProfile(std::span<const std::uint8_t> bytes);

/// Relative colorimetric, no black point compensation, to sRGB; formats as lcms2 has them. Several threads may use it
/// at once. Null when the profile does not hold what that takes.
IccTransform makeTransformToSrgb(const IccProfile& from, cmsUInt32Number fromFormat, cmsUInt32Number toFormat,
                                 cmsUInt32Number flags = 0);

/// The profile's curves and matrix where they are all that it amounts to; null otherwise.
Ref<const MatrixShaper> makeMatrixShaper(const IccProfile& profile);

/// The profile's description: UTF-8, at most 255 characters, no control characters nor marks that turn text around.
std::string iccDescription(const IccProfile& profile);

/// What lcms2 complained of on this thread since it was last asked; empty when it did not.
std::string takeIccMessage();

} // namespace zel
