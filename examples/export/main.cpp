// Makes a picture ready to be sent: at most 1600 pixels wide, a logo in its corner, at most 200 000 bytes.
//   export_picture PICTURE LOGO OUTPUT.jpg
#include <zel/zel.h>

#include <iostream>

using namespace zel;

int main(int count, char** arguments)
{
    if (count != 4) {
        std::cerr << "export_picture PICTURE LOGO OUTPUT.jpg\n";
        return 2;
    }
    const ZelWatermark corner{.position = ZelWatermark::Position::bottomRight,
                              .scale = {.policy = ZelWatermark::Scale::Policy::largestSideScale, .scale = 0.25},
                              .opacity = 0.6};

    // An operation that is handed no picture gives none: the calls nest, and one check at the end is enough.
    const ZelReport report;
    const Ref<ZelImage> picture = makeZelImage(URL::file(arguments[1]));
    const Ref<ZelImage> logo = makeZelImage(URL::file(arguments[2]));
    const Ref<ZelImage> marked = watermark(resize(picture, {.toWidth = 1600}), {.with = logo, .using_ = corner});
    const bool saved = saveToJpeg(marked, {.toUrl = URL::file(arguments[3]), .dpi = 72, .maxSize = 200'000});

    for (const ZelNote& note : report.notes())
        std::cerr << note.subject << ": " << note.message << '\n';
    return saved ? 0 : 1;
}
