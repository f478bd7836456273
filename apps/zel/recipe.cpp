#include "recipe.h"

#include "json_documents.h"

#include <zel/platform/foundation/atomic_write.h>
#include <zel/platform/foundation/failure.h>
#include <zel/platform/foundation/url.h>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

namespace zel::program {
namespace {

using Json = nlohmann::ordered_json;

constexpr int recipeVersion = 1;
constexpr std::uint64_t largestRecipe = std::uint64_t{1} << 20U;

[[noreturn]] void refuse(const std::string& file, const std::string& why)
{
    throw UsageError(fmt::format("--recipe: {}: {}", file, why),
                     R"({"version":1,"steps":[{"do":"resize","width":800}]})");
}

/// The text that stands for the value on a command line; absent for what has none.
std::optional<std::string> textOf(const Json& value)
{
    if (value.is_string())
        return value.get<std::string>();
    if (value.is_boolean() || value.is_number_integer())
        return value.dump();
    if (value.is_number())
        return fmt::format("{}", value.get<double>());
    if (!value.is_array())
        return std::nullopt;
    std::string list;
    for (const Json& element : value) {
        if (!element.is_number())
            return std::nullopt;
        list += (list.empty() ? "" : " ") + *textOf(element);
    }
    return list;
}

/// The value that reads back as the text: a number, true or false where that is so, else the text itself.
Json valueOf(const std::string& text)
{
    const Json value = Json::parse(text, nullptr, false);
    return (value.is_number() || value.is_boolean()) && textOf(value) == text ? value : Json(text);
}

StepWords stepOf(const std::string& file, const Json& object)
{
    if (!object.is_object() || !object.contains("do") || !object["do"].is_string())
        refuse(file, "a step is an object whose \"do\" names it");
    StepWords words{object["do"].get<std::string>(), {}};
    for (const auto& [name, value] : object.items()) {
        if (name == "do")
            continue;
        const auto text = textOf(value);
        if (!text)
            refuse(file,
                   fmt::format("{}: {} is neither text, number, true, false nor a list of numbers", words.name, name));
        words.settings.emplace_back(name, *text);
    }
    return words;
}

} // namespace

std::vector<StepWords> readRecipe(const std::string& file)
{
    const auto bytes = Data::read(URL::file(file));
    if (!bytes)
        throw UsageError(fmt::format("--recipe: {}", ZelFailure::last().message));
    if (bytes->size() > largestRecipe)
        refuse(file, "too large for a recipe");
    const auto* const text = reinterpret_cast<const char*>(bytes->data());
    const Json json = Json::parse(text, text + bytes->size(), nullptr, false);
    if (!json.is_object() || !json.contains("steps") || !json["steps"].is_array())
        refuse(file, "no JSON object with a list of steps");
    if (json.value("version", Json()) != recipeVersion)
        refuse(file, fmt::format("its version is not {}", recipeVersion));
    std::vector<StepWords> steps;
    for (const Json& step : json["steps"])
        steps.push_back(stepOf(file, step));
    return steps;
}

bool writeRecipe(const std::string& file, const std::vector<StepWords>& steps)
{
    Json json = {{"version", recipeVersion}, {"steps", Json::array()}};
    for (const auto& [name, settings] : steps) {
        Json step = {{"do", name}};
        for (const auto& [setting, text] : settings)
            step[setting] = valueOf(text);
        json["steps"].push_back(std::move(step));
    }
    const std::string text = documentText(json);
    return writeAtomically(URL::file(file), {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()},
                           {.createFolders = true});
}

} // namespace zel::program
