#pragma once
#include "verb.h"

#include <string>
#include <vector>

namespace zel::program {

/// A flag as its verb declares it.
struct Flag {
    /// What stands behind it.
    enum class Takes { nothing, text, file, folder, word };

    std::vector<std::string> names; ///< "-o", "--output": the short one first
    std::string value;              ///< "OUTPUT"; empty where it takes none
    std::string help;
    Takes takes = Takes::nothing;
    std::vector<std::string> words = {}; ///< of Takes::word: all that may stand behind it
    bool repeats = false;
};

struct FlagGroup {
    std::string title; ///< "Outputs"
    std::vector<Flag> flags;
};

/// What a verb can be told: what its help lists, manual pages explain and shells complete.
struct Description {
    std::vector<FlagGroup> groups; ///< in the order of the help; --help last
    bool takesOperands = false;    ///< words that belong to no flag
};

/// Asks the verb itself: it declares its flags as for a run, and nothing is run.
Description describe(const Verb& verb);

} // namespace zel::program
