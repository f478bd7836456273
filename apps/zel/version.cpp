#include "arguments.h"
#include "json_documents.h"
#include "text.h"

#include "zel_versions.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

namespace zel::program {
namespace {

using Json = nlohmann::ordered_json;

constexpr std::string_view examples = R"(Examples:
  zel version
  zel version --json
)";

int run(const Verb& verb, Words words)
{
    bool json = false;
    Arguments arguments(verb);
    arguments.section("Reports");
    arguments.flag("--json", json, "one JSON document");
    if (!arguments.parse(words))
        return 0;
    Json document = {
        {"version", jsonVersion}, {"zel", programVersion}, {"licence", "MIT"}, {"libraries", Json::array()}};
    auto table = fmt::format("zel {} (MIT)\n", programVersion);
    for (const auto& [name, version, licence, purpose] : linkedLibraries) {
        document["libraries"].push_back(
            {{"name", name}, {"version", version}, {"licence", licence}, {"purpose", purpose}});
        table += fmt::format("  {:<16}{:<10}{:<28}{}\n", name, version, licence, purpose);
    }
    writeOut(json ? documentText(document) : table);
    return outputFailed() ? statusOf(ZelFailureCode::writeFailed) : 0;
}

} // namespace

const Verb versionVerb = {
    "version", "This program and every library it is built with", "[--json]", examples, {}, run,
};

} // namespace zel::program
