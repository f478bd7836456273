#pragma once
#include <zel/platform/foundation/failure.h>

#include <nlohmann/json_fwd.hpp>

namespace zel::program {

/// What became of one input.
struct Outcome {
    enum class State {
        done,
        planned, ///< of a dry run
        skipped, ///< its output exists
        failed,
        stopped, ///< interrupted before or while it was worked on
    };

    State state = State::done;
    std::string input;  ///< its name
    std::string output; ///< the name of what was written; empty where nothing is
    ZelNote failure;    ///< of a failed one
    std::vector<ZelNote> warnings;
    Ref<const nlohmann::ordered_json> facts; ///< further fields of its JSON object; null = none
    std::string line;                        ///< what is said of it on standard error
};

/// The fact where flags help that let an output be replaced.
inline constexpr std::string_view existsAlready = "exists already";

/// "notFound"
std::string_view codeName(ZelFailureCode code);
/// The exit status of a single input that failed so.
int statusOf(ZelFailureCode code);

/// What a note says, without the name of the file that some begin with.
std::string_view factOf(const ZelNote& note);
/// "scan.tif: 28000 x 28000 pixels need 3.2 GB, the limit is 1.0 GB (hint: --memory 4G)": the file that the failure is
/// about, the fact, the remedy where there is one.
std::string failureText(const Outcome& outcome);
std::string warningText(const Outcome& outcome, const ZelNote& warning);

} // namespace zel::program
