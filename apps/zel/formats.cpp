#include "json_documents.h"
#include "picture_formats.h"
#include "text.h"
#include "arguments.h"

#include <zel/platform/codecs/codec.h>
#include <zel/platform/codecs/encode.h>
#include <zel/platform/documents/document.h>
#include <zel/platform/foundation/notes.h>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

namespace zel::program {
namespace {

using Json = nlohmann::ordered_json;

constexpr std::string_view examples = R"(Examples:
  zel formats
  zel formats --json
)";

struct Entry {
    std::string name, extensions;
    bool isRead = false, isWritten = false;
    std::string missing; ///< what would add it, where a part is not installed
};

/// Why an encoder cannot be used; empty where it can. Those of TIFF, HEIF and AVIF stand in modules that may be
/// missing.
std::string missingEncoder(Format format)
{
    const auto pixel = CGImage::make({.width = 1, .height = 1}, Data(std::vector<std::uint8_t>(4)), 4);
    const ZelReport report;
    const bool isThere = format == Format::tiff   ? encodeTiff(pixel, {}).has_value()
                         : format == Format::heif ? HeifEncoder::make(pixel) != nullptr
                         : format == Format::avif ? HeifEncoder::make(pixel, {.coding = heif::Coding::av1}) != nullptr
                                                  : true;
    return isThere ? std::string() : ZelFailure::last().message;
}

std::vector<Entry> entries()
{
    std::vector<Entry> all;
    for (const auto& codec : codecs()) {
        Entry entry{std::string(codec.name), std::string(codec.extensions), true, false, {}};
        const auto written = formatNamed(codec.name);
        if (written) {
            entry.missing = missingEncoder(*written);
            entry.isWritten = entry.missing.empty();
        }
        if (codec.isInstalled != nullptr) {
            const ZelReport report;
            entry.isRead = codec.isInstalled();
            if (!entry.isRead)
                entry.missing = ZelFailure::last().message;
        } else if (written)
            entry.isRead = entry.isWritten; // the same module
        all.push_back(std::move(entry));
    }
    for (const auto& [kind, name] : {std::pair{Document::Kind::pdf, "pdf"}, std::pair{Document::Kind::svg, "svg"}}) {
        Entry entry{name, name, true, false, {}};
        const ZelReport report;
        entry.isRead = Document::isInstalled(kind);
        if (!entry.isRead)
            entry.missing = ZelFailure::last().message;
        all.push_back(std::move(entry));
    }
    return all;
}

int run(const Verb& verb, Words words)
{
    bool json = false;
    Arguments arguments(verb);
    arguments.section("Reports");
    arguments.flag("--json", json, "one JSON document");
    if (!arguments.parse(words))
        return 0;
    Json document = {{"version", jsonVersion}, {"formats", Json::array()}};
    std::string table = fmt::format("{:<8}{:<6}{:<7}{}\n", "FORMAT", "READ", "WRITE", "EXTENSIONS");
    for (const auto& [name, extensions, isRead, isWritten, missing] : entries()) {
        Json object = {{"name", name}, {"read", isRead}, {"write", isWritten}, {"extensions", Json::array()}};
        for (std::string_view rest = extensions; !rest.empty();) {
            const auto blank = std::min(rest.find(' '), rest.size());
            object["extensions"].push_back(rest.substr(0, blank));
            rest.remove_prefix(std::min(blank + 1, rest.size()));
        }
        if (!missing.empty())
            object["missing"] = missing;
        document["formats"].push_back(std::move(object));
        table += fmt::format("{:<8}{:<6}{:<7}{}{}{}\n", name, isRead ? "yes" : "no", isWritten ? "yes" : "no",
                             extensions, missing.empty() ? "" : "  ", missing);
    }
    writeOut(json ? documentText(document) : table);
    return outputFailed() ? statusOf(ZelFailureCode::writeFailed) : 0;
}

} // namespace

const Verb formatsVerb = {
    "formats", "What this build reads and writes", "[--json]", examples, {}, run,
};

} // namespace zel::program
