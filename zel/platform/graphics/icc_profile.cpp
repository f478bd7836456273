#include <zel/platform/graphics/icc_profile.h>

#include <lcms2_plugin.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <mutex>

namespace zel {
namespace {

// A profile is at most a few MiB; what wants more than this for one table lies about its size.
constexpr cmsUInt32Number mostMemoryAtOnce = 64U << 20U;
// Real ones have at most five; every pixel passes through all of them while tables are made.
constexpr cmsUInt32Number mostStages = 32;
constexpr std::size_t longestDescription = 255;

thread_local char lastMessage[256] = "";

extern "C" {
static void keepMessage(cmsContext, cmsUInt32Number, const char* text)
{
    std::snprintf(lastMessage, sizeof lastMessage, "%s", text);
}
static void* allocate(cmsContext, cmsUInt32Number size)
{
    // Zeroed: lcms2 2.14 leaves the end of a text unwritten where it holds characters beyond U+FFFF.
    return size > mostMemoryAtOnce ? nullptr : std::calloc(1, size);
}
static void release(cmsContext, void* memory)
{
    std::free(memory);
}
static void* allocateAgain(cmsContext, void* memory, cmsUInt32Number size)
{
    return size > mostMemoryAtOnce ? nullptr : std::realloc(memory, size);
}
}

cmsContext context()
{
    static const cmsContext shared = [] {
        cmsPluginMemHandler memory{};
        memory.base.Magic = cmsPluginMagicNumber;
        memory.base.ExpectedVersion = 2000;
        memory.base.Type = cmsPluginMemHandlerSig;
        memory.MallocPtr = allocate;
        memory.FreePtr = release;
        memory.ReallocPtr = allocateAgain;
        const cmsContext made = cmsCreateContext(&memory, nullptr);
        cmsSetLogErrorHandlerTHR(made, keepMessage);
        return made;
    }();
    return shared;
}

/// Tables of several dimensions, for every intent, that stand in place of curves and matrix.
constexpr cmsTagSignature tableTags[] = {cmsSigAToB0Tag, cmsSigAToB1Tag, cmsSigAToB2Tag, cmsSigDToB0Tag,
                                         cmsSigDToB1Tag, cmsSigDToB2Tag, cmsSigDToB3Tag};

bool hasSensibleTables(const IccProfile& profile)
{
    return std::all_of(std::begin(tableTags), std::end(tableTags), [&](cmsTagSignature tag) {
        if (!cmsIsTag(profile.get(), tag))
            return true;
        const auto* const stages = static_cast<const cmsPipeline*>(cmsReadTag(profile.get(), tag));
        return stages != nullptr && cmsPipelineStageCount(stages) <= mostStages;
    });
}

void appendUtf8(std::string& text, std::uint32_t code)
{
    const auto put = [&](std::uint32_t byte) { text += static_cast<char>(static_cast<std::uint8_t>(byte)); };
    if (code < 0x80) {
        put(code);
    } else if (code < 0x800) {
        put(0xC0 | code >> 6);
        put(0x80 | (code & 0x3F));
    } else if (code < 0x10000) {
        put(0xE0 | code >> 12);
        put(0x80 | (code >> 6 & 0x3F));
        put(0x80 | (code & 0x3F));
    } else {
        put(0xF0 | code >> 18);
        put(0x80 | (code >> 12 & 0x3F));
        put(0x80 | (code >> 6 & 0x3F));
        put(0x80 | (code & 0x3F));
    }
}

bool isPrintable(std::uint32_t code)
{
    const bool control = code < 0x20 || (code >= 0x7F && code < 0xA0);
    const bool turnsText = code == 0x061C || code == 0x200E || code == 0x200F || (code >= 0x2028 && code <= 0x202E) ||
                           (code >= 0x2066 && code <= 0x2069);
    const bool noCharacter =
        (code >= 0xD800 && code < 0xE000) || code == 0xFEFF || (code & 0xFFFE) == 0xFFFE || code > 0x10FFFF;
    return !control && !turnsText && !noCharacter;
}

} // namespace

IccProfile openIccProfile(std::span<const std::uint8_t> bytes)
{
    IccProfile profile(cmsOpenProfileFromMemTHR(context(), bytes.data(), static_cast<cmsUInt32Number>(bytes.size())));
    if (!profile)
        return nullptr;
    const cmsProfileClassSignature kind = cmsGetDeviceClass(profile.get());
    const bool ofColors = kind == cmsSigInputClass || kind == cmsSigDisplayClass || kind == cmsSigOutputClass ||
                          kind == cmsSigColorSpaceClass;
    return ofColors && hasSensibleTables(profile) ? std::move(profile) : nullptr;
}

IccTransform makeTransformToSrgb(const IccProfile& from, cmsUInt32Number fromFormat, cmsUInt32Number toFormat,
                                 cmsUInt32Number flags)
{
    const IccProfile srgb(cmsCreate_sRGBProfileTHR(context()));
    if (!from || !srgb)
        return nullptr;
    // Without its one-pixel cache a transform has no state that changes.
    return IccTransform(cmsCreateTransformTHR(context(), from.get(), fromFormat, srgb.get(), toFormat,
                                              INTENT_RELATIVE_COLORIMETRIC, flags | cmsFLAGS_NOCACHE));
}

Ref<const MatrixShaper> makeMatrixShaper(const IccProfile& profile)
{
    const bool hasTables = std::any_of(std::begin(tableTags), std::end(tableTags),
                                       [&](cmsTagSignature tag) { return cmsIsTag(profile.get(), tag); });
    if (hasTables || !cmsIsMatrixShaper(profile.get()) || cmsGetColorSpace(profile.get()) != cmsSigRgbData ||
        cmsGetPCS(profile.get()) != cmsSigXYZData)
        return nullptr;
    constexpr cmsTagSignature curveTags[] = {cmsSigRedTRCTag, cmsSigGreenTRCTag, cmsSigBlueTRCTag};
    constexpr cmsTagSignature primaryTags[] = {cmsSigRedColorantTag, cmsSigGreenColorantTag, cmsSigBlueColorantTag};
    std::array<MatrixShaper::Curve, 3> curves;
    ColorMatrix matrix;
    for (std::size_t i = 0; i < 3; ++i) {
        const auto* const curve = static_cast<const cmsToneCurve*>(cmsReadTag(profile.get(), curveTags[i]));
        const auto* const primary = static_cast<const cmsCIEXYZ*>(cmsReadTag(profile.get(), primaryTags[i]));
        if (curve == nullptr || primary == nullptr)
            return nullptr;
        const std::shared_ptr<cmsToneCurve> own(cmsDupToneCurve(curve), [](cmsToneCurve* c) { cmsFreeToneCurve(c); });
        if (!own)
            return nullptr;
        curves[i] = [own](double sample) {
            return static_cast<double>(cmsEvalToneCurveFloat(own.get(), static_cast<float>(sample)));
        };
        matrix[0][i] = primary->X;
        matrix[1][i] = primary->Y;
        matrix[2][i] = primary->Z;
    }
    return std::make_shared<const MatrixShaper>(std::move(curves), matrix);
}

std::string iccDescription(const IccProfile& profile)
{
    std::array<wchar_t, longestDescription + 1> units{};
    cmsGetProfileInfo(profile.get(), cmsInfoDescription, "en", "US", units.data(),
                      static_cast<cmsUInt32Number>(sizeof units));
    units.back() = 0;
    std::string text;
    for (std::size_t i = 0; units[i] != 0; ++i) {
        const auto code = static_cast<std::uint32_t>(units[i]);
        if (isPrintable(code))
            appendUtf8(text, code);
    }
    const std::size_t first = text.find_first_not_of(' ');
    return first == std::string::npos ? std::string() : text.substr(first, text.find_last_not_of(' ') - first + 1);
}

std::string takeIccMessage()
{
    std::string message = lastMessage;
    lastMessage[0] = 0;
    std::replace_if(
        message.begin(), message.end(), [](char letter) { return static_cast<unsigned char>(letter) < 0x20; }, ' ');
    return message;
}

} // namespace zel
