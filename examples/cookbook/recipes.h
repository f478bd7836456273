#pragma once
#include <zel/zel.h>

// One recipe a file; docs/cookbook.md shows each as it stands there, between its two marks.
namespace cookbook {

using namespace zel;

bool makeThumbnail(const URL& photo, const URL& thumbnail);
bool saveWithin(const URL& photo, const URL& target, std::int64_t bytes);
bool putLogoInCorner(const URL& photo, const URL& logo, const URL& target);
Ref<ZelImage> placeBefore(const Ref<ZelImage>& greenScreen, const Ref<ZelImage>& ground);
std::vector<Ref<ZelImage>> cutOut(const Ref<ZelImage>& onWhite);
Ref<ZelImage> levelAndLighten(const Ref<ZelImage>& photo, double slope);
Ref<ZelImage> squareOf(const Ref<ZelImage>& photo, CGPoint middle, double zoom);
std::string tell(const URL& photo);
Ref<ZelImage> openForeign(const URL& file, std::vector<std::string>& remarks);
bool resizeUntilStopped(const URL& photo, const URL& target, std::stop_source& stop, std::function<void(double)> tell);
Ref<ZelImage> drawDocument(const std::string& json);
std::string makeDocument(const URL& ground, const URL& mark);
Ref<ZelImage> previewOf(const URL& photo);

} // namespace cookbook
