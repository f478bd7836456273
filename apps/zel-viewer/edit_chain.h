#pragma once
#include <zel/core/image.h>

#include <functional>
#include <optional>
#include <vector>

namespace zel::viewer {

/// What a person does to a picture. A value: whatever the order in which it came about, it is done in the order of its
/// fields, each as one operation of the library.
struct EditChain {
    int quarterTurns = 0;            ///< clockwise, 0 to 3
    double straightening = 0;        ///< degrees, clockwise
    std::optional<CGRect> crop = {}; ///< of the straightened picture: fractions of its sides, from its top left
    double exposure = 0;             ///< stops
    double sharpness = 0;            ///< times the difference to the surroundings

    [[nodiscard]] bool isEmpty() const { return *this == EditChain(); }
    friend bool operator==(const EditChain&, const EditChain&) = default;
};

using EditStep = std::function<Ref<ZelImage>(const Ref<ZelImage>&)>;

/// The operations that change something, in order. On a picture reduced to `scale` times its sides they show what they
/// do to the full one.
std::vector<EditStep> stepsOf(const EditChain& chain, double scale = 1);

/// All of them done; null, with the reason in `ZelFailure::last()`, where one cannot be.
Ref<ZelImage> edited(const Ref<ZelImage>& picture, const EditChain& chain, double scale = 1);

/// The chain for the picture turned once more: what was cut out stays cut out.
EditChain turned(EditChain chain, int quarterTurnsClockwise);

/// The size that cropping starts from, and that of the result, in pixels.
CGSize sizeBeforeCrop(const EditChain& chain, CGSize picture);
CGSize editedSize(const EditChain& chain, CGSize picture);

} // namespace zel::viewer
