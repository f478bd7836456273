#pragma once
#include "outcome.h"

#include <span>

// The JSON that the program prints; docs/schema/ describes it. Fields are only ever added. Always valid UTF-8: bytes of
// names that are none become U+FFFD.
namespace zel::program {

/// The version that stands at the root of every document.
inline constexpr int jsonVersion = 1;

/// The object of one input on a line of its own.
std::string outcomeLine(std::string_view verb, const Outcome& outcome);
/// All inputs in one document, with the tally.
std::string outcomesDocument(std::string_view verb, std::span<const Outcome> outcomes);
/// A document's text with its line feed.
std::string documentText(const nlohmann::ordered_json& document);

} // namespace zel::program
