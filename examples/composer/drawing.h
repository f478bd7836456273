#pragma once
#include <zel/zel.h>

/// A picture in a composition.
struct Placed {
    zel::Ref<zel::ZelImage> picture;
    zel::CGPoint location = {}; ///< of its centre, in widths of the composition, from its centre, y downward
    double scale = 1;
    double opacity = 1;
};

/// The pixels of a composition that is that many across.
zel::ZelCanvas::Size pixelSizeOf(const zel::ZelComposer& composer, double pixelsAcross);
/// The background alone.
zel::Ref<zel::ZelImage> drawGround(const zel::ZelComposer& composer, zel::ZelCanvas::Size size);
/// The pictures over the ground, or, without one, over nothing. Drawn by a ZelCanvas.
zel::Ref<zel::ZelImage> drawOver(const zel::Ref<zel::ZelImage>& ground, zel::ZelCanvas::Size size,
                                 const std::vector<Placed>& pictures);
/// All of a composition. Loads its pictures; any thread.
zel::Ref<zel::ZelImage> drawComposition(const zel::ZelComposer& composer, const zel::ZelShareApp& store,
                                        double pixelsAcross);
/// Draws and saves one, as PNG, or as JPEG where the name ends so. False, with the reason noted, where it is not saved.
bool exportComposition(const zel::ZelComposer& composer, const zel::ZelShareApp& store, double pixelsAcross,
                       const zel::URL& file);
