#include "json_documents.h"

#include <nlohmann/json.hpp>

#include <algorithm>

namespace zel::program {
namespace {

using Json = nlohmann::ordered_json;

std::string_view stateName(Outcome::State state)
{
    switch (state) {
    case Outcome::State::done:
        return "done";
    case Outcome::State::planned:
        return "planned";
    case Outcome::State::skipped:
        return "skipped";
    case Outcome::State::failed:
        return "failed";
    case Outcome::State::stopped:
        return "stopped";
    }
    return "stopped";
}

Json noteObject(const ZelNote& note)
{
    return {{"code", codeName(note.code)}, {"message", factOf(note)}};
}

void addOutcome(Json& object, const Outcome& outcome)
{
    object["input"] = outcome.input;
    object["status"] = stateName(outcome.state);
    if (!outcome.output.empty())
        object["output"] = outcome.output;
    if (outcome.facts)
        object.update(*outcome.facts);
    if (outcome.state == Outcome::State::failed)
        object["error"] = noteObject(outcome.failure);
    if (!outcome.warnings.empty()) {
        auto& warnings = object["warnings"] = Json::array();
        for (const auto& warning : outcome.warnings)
            warnings.push_back(noteObject(warning));
    }
}

std::string text(const Json& json, int indent)
{
    return json.dump(indent, ' ', false, Json::error_handler_t::replace) + '\n';
}

} // namespace

std::string outcomeLine(std::string_view verb, const Outcome& outcome)
{
    Json object = {{"version", jsonVersion}, {"verb", verb}};
    addOutcome(object, outcome);
    return text(object, -1);
}

std::string outcomesDocument(std::string_view verb, std::span<const Outcome> outcomes)
{
    Json document = {{"version", jsonVersion}, {"verb", verb}, {"inputs", Json::array()}};
    for (const auto& outcome : outcomes) {
        Json object = Json::object();
        addOutcome(object, outcome);
        document["inputs"].push_back(std::move(object));
    }
    auto& tally = document["tally"] = Json::object();
    for (const auto state : {Outcome::State::done, Outcome::State::planned, Outcome::State::skipped,
                             Outcome::State::failed, Outcome::State::stopped})
        tally[std::string(stateName(state))] = std::count_if(
            outcomes.begin(), outcomes.end(), [&](const Outcome& outcome) { return outcome.state == state; });
    return documentText(document);
}

std::string documentText(const Json& document)
{
    constexpr int indent = 2;
    return text(document, indent);
}

} // namespace zel::program
