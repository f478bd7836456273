// CLIImageResizer SOURCE DESTINATION SIZE: the picture so that its longer side has at most SIZE pixels; never enlarged.
// The destination's extension says the format: PNG, TIFF or JPEG. Prints DONE when the file is there; else says why on
// standard error.
#include <zel/zel.h>

#include <charconv>
#include <cstdio>
#include <string_view>

namespace {

constexpr double quality = 0.9;

int fail(std::string_view why)
{
    std::fprintf(stderr, "CLIImageResizer: %.*s\n", static_cast<int>(why.size()), why.data());
    return 1;
}

bool hasExtension(std::string_view name, std::string_view extension)
{
    if (name.size() < extension.size())
        return false;
    name.remove_prefix(name.size() - extension.size());
    for (std::size_t i = 0; i < name.size(); ++i)
        if ((name[i] >= 'A' && name[i] <= 'Z' ? static_cast<char>(name[i] - 'A' + 'a') : name[i]) != extension[i])
            return false;
    return true;
}

bool save(const zel::Ref<zel::ZelImage>& image, const char* destination)
{
    const zel::URL file = zel::URL::file(destination);
    if (hasExtension(destination, ".png"))
        return zel::saveToPNG(image, {.url = file});
    if (hasExtension(destination, ".tif") || hasExtension(destination, ".tiff"))
        return zel::ZelImageHelper::saveToTIFF(image, {.toUrl = file});
    return zel::saveToJpeg(image, {.quality = quality, .url = file});
}

} // namespace

int main(int count, char** words)
{
    if (count != 4)
        return fail("SOURCE DESTINATION SIZE");
    const std::string_view size = words[3];
    long long side = 0;
    const auto [end, error] = std::from_chars(size.data(), size.data() + size.size(), side);
    if (error != std::errc() || end != size.data() + size.size() || side < 1)
        return fail("the size has to be a whole number above 0");
    zel::Console::setSink([](std::string_view) {});
    const auto image = zel::makeZelImage(zel::URL::file(words[1]));
    if (!save(zel::resize(image, {.withMaxSide = static_cast<double>(side)}), words[2]))
        return fail(zel::ZelFailure::last().message);
    std::puts("DONE");
    return 0;
}
