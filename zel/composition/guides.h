#pragma once
#include <zel/composition/composer.h>
#include <zel/export.h>

// The lines of a composition that layers snap to, and the search for the nearest one. In composer units: widths of the
// composition, from its centre; a line is an x where it is vertical, a y where it is horizontal. Nothing here changes
// the composer or fails: ratios of 0 give figures that are endless or no numbers, which no search finds.
namespace zel {

struct InComposer {
    const ZelComposer& in;
};
struct IncludingMargins {
    std::span<const double> including; ///< fractions of the width across, of the height down
};
struct ForLayer {
    const ZelComposer::Layer& for_;
};
struct SnapQuery {
    const ZelComposer::Layer& for_;
    double at; ///< x, or y, of the layer's centre
    CGSize in; ///< the view, in pixels
};
struct PositionOf {
    const ZelComposer::Layer& of;
    CGSize in; ///< the view; its width alone counts
};
struct LivePositionOf {
    const ZelComposer::Layer& of;
    CGSize inSize; ///< the view; its width alone counts
    CGSize with;   ///< how far it is dragged, in pixels
};

/// The size of an image layer: as wide as the composition, or, where the image is the narrower of the two, wide enough
/// to be as high as it; then scaled. Tells its steps on the console.
ZEL_API CGSize imageActualNormalizedSize(const ZelComposer::Layer& layer, InComposer composer);
/// Lower edge, centre, upper edge. Told on the console.
ZEL_API std::vector<double> imageHGuides(const ZelComposer::Layer& layer, InComposer composer);
/// Left edge, centre, right edge.
ZEL_API std::vector<double> imageVGuides(const ZelComposer::Layer& layer, InComposer composer);
/// Those of an image layer; of others the centre alone.
ZEL_API std::vector<double> horizontalGuides(const ZelComposer::Layer& layer, InComposer composer);
ZEL_API std::vector<double> verticalGuides(const ZelComposer::Layer& layer, InComposer composer);

/// The composer's own guides, its centre lines, four lines for each margin (0 gives the edges), then the lines of each
/// layer; those that are made here have fresh identifiers.
ZEL_API std::vector<ZelComposer::Guide> guideList(const ZelComposer& composer, IncludingMargins margins);
/// What the layer may snap to: the lines of all other layers, then those of `guideList` with the edges and a margin of
/// 0.05, the layer's own stored place included. Lines may come twice.
ZEL_API std::vector<double> verticalGuides(const ZelComposer& composer, ForLayer layer);
ZEL_API std::vector<double> horizontalGuides(const ZelComposer& composer, ForLayer layer);
/// The place for the layer's centre, nearest to where it is, that puts its centre or, of an image, an edge on a line;
/// of equally near ones the centre before the edges. Absent where none is within 10 pixels of the view. Cost: a look at
/// every layer; much more where the console is heard, which is told the steps of each.
ZEL_API std::optional<double> nearestVerticalGuide(const ZelComposer& composer, SnapQuery query);
/// The same down; pixels are counted by the view's width here, too.
ZEL_API std::optional<double> nearestHorizontalGuide(const ZelComposer& composer, SnapQuery query);
/// Where the layer's centre is in a view, in pixels from its centre.
ZEL_API CGPoint actualPosition(const ZelComposer& composer, PositionOf layer);
ZEL_API CGPoint livePosition(const ZelComposer& composer, LivePositionOf layer);

} // namespace zel
