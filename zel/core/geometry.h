#pragma once
#include <zel/export.h>
#include <zel/core/image.h>

#include <span>

namespace zel {

CGSize boundToInt(CGSize size);

namespace ZelImageHelper {

struct CenteredAt { CGPoint centeredAt; CGSize withSize; };
struct InImageRect { CGRect rect; };
struct OfRect { CGRect of; };
struct WeightedPoint { CGPoint point; CGFloat factor; };
struct GravityRects { std::span<const CGRect> rects; };
struct BoundRect { CGRect boundRect; CGRect rect; };
struct BoundPoint { CGPoint point; CGRect rect; CGSize insetSize; };
struct CroppingSize { CGRect rect; CGFloat ratio; CGFloat zoom; };
struct InnerRect { CGRect boundsRect; CGRect innerRect; };
struct UnitRect { CGRect boundsRect; CGRect normalizedTo1Rect; };
struct RatioOfBy { std::int64_t of; std::int64_t by; };
struct OfImage { Ref<ZelImage> of; };
struct OfSize { CGSize of; };
struct OfUrl { URL of; };

CGSize getSize(const Ref<const CGImage>& image);
CGSize getRepresentedSize(const Ref<ZelImage>& image);
CGRect getRect(const Ref<ZelImage>& image);
CGRect getRect(CenteredAt where);
CGPoint getActualPointWithoutRetina(CGPoint point);
CGSize getActualSizeWithoutRetina(CGSize size);
CGRect getActualRectWithRepresentation(const Ref<ZelImage>& image, InImageRect rect);
CGPoint getCenter(OfRect rect);
CGPoint weightedPoint(WeightedPoint point);
CGPoint sumPoints(CGPoint a, CGPoint b);
CGPoint getCenterOfGravity(GravityRects rects);
CGRect boundRect(BoundRect what);
CGPoint boundPoint(BoundPoint what);
CGSize getCroppingSize(CroppingSize what);
CGRect getNormalizedTo1Rect(InnerRect what);
CGRect getDenormalizedRect(UnitRect what);
CGFloat getRatio(RatioOfBy what);
CGFloat getRatio(OfRect rect);
CGFloat getRatio(OfImage image);
std::string getReadableImageSize(OfSize size);
std::string getReadableImageSize(OfImage image);
std::string getReadableImageSize(OfUrl file);
std::string getReadableRatio(OfSize size);
std::string getReadableRatio(OfImage image);
std::string getReadableRatio(OfUrl file);
Ref<const CGImage> ciImageToCGImage(const Ref<const CIImage>& image);

} // namespace ZelImageHelper
} // namespace zel
