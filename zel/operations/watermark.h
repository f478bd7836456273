#pragma once
#include <zel/export.h>
#include <zel/core/image.h>
#include <zel/platform/foundation/coding.h>

namespace zel {

struct ZelWatermark {
    enum class Position { topLeft, topCenter, topRight, centerLeft, center, centerRight, bottomLeft, bottomCenter, bottomRight };
    struct Scale {
        enum class Policy { originalSize, largestSideScale };
        struct Of { Ref<ZelImage> watermarkImage; Ref<ZelImage> whenAppliedTo; };
        CGSize scaleOf(Of images) const;
        Policy policy = Policy::originalSize;
        double scale = 1;
        double maxScale = 1;
        double minScale = 0;
    };
    Position position = Position::bottomRight;
    Scale scale;
    double opacity = 1;
};

struct WatermarkWith { Ref<ZelImage> with; ZelWatermark using_; };
Ref<ZelImage> watermark(const Ref<ZelImage>& image, WatermarkWith mark);

} // namespace zel
