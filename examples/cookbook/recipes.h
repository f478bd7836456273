#pragma once
#include <zel/zel.h>

// One recipe a file; docs/cookbook.md shows each as it stands there, between its two marks.
namespace cookbook {

bool makeThumbnail(const zel::URL& photo, const zel::URL& thumbnail);
bool saveWithin(const zel::URL& photo, const zel::URL& target, std::int64_t bytes);
bool putLogoInCorner(const zel::URL& photo, const zel::URL& logo, const zel::URL& target);
zel::Ref<zel::ZelImage> placeBefore(const zel::Ref<zel::ZelImage>& greenScreen, const zel::Ref<zel::ZelImage>& ground);
std::vector<zel::Ref<zel::ZelImage>> cutOut(const zel::Ref<zel::ZelImage>& onWhite);
zel::Ref<zel::ZelImage> levelAndLighten(const zel::Ref<zel::ZelImage>& photo, double slope);
zel::Ref<zel::ZelImage> squareOf(const zel::Ref<zel::ZelImage>& photo, zel::CGPoint middle, double zoom);
std::string tell(const zel::URL& photo);
zel::Ref<zel::ZelImage> openForeign(const zel::URL& file, std::vector<std::string>& remarks);
bool resizeUntilStopped(const zel::URL& photo, const zel::URL& target, std::stop_source& stop,
                        std::function<void(double)> tell);
zel::Ref<zel::ZelImage> drawDocument(const std::string& json);
std::string makeDocument(const zel::URL& ground, const zel::URL& mark);
zel::Ref<zel::ZelImage> previewOf(const zel::URL& photo);

} // namespace cookbook
