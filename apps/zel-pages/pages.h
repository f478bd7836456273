#pragma once
#include "description.h"

// What stands around the program once it is installed, written from the flags that its verbs declare: manual pages and
// completions of three shells. Each function gives a whole file.
namespace zel::program {

/// The words that may stand first behind a verb, apart from flags.
struct FirstOperand {
    enum class Kind { nothing, file, verb, word };
    Kind kind = Kind::file;
    std::vector<std::string> words = {}; ///< of Kind::word
    bool filesFollow = false;            ///< behind such a word
};

struct DescribedVerb {
    const Verb& verb;
    Description description;
    FirstOperand first;
};

/// All verbs in the order of the help; the flags are asked for once.
std::vector<DescribedVerb> describedVerbs();

/// zel(1): what all verbs share, and the list of them.
std::string programPage(const std::vector<DescribedVerb>& verbs);
/// zel-export(1), for one verb.
std::string verbPage(const DescribedVerb& described);

std::string bashCompletion(const std::vector<DescribedVerb>& verbs);
std::string zshCompletion(const std::vector<DescribedVerb>& verbs);
std::string fishCompletion(const std::vector<DescribedVerb>& verbs);

/// The text with `escape` before each character of `special`.
std::string escaped(std::string_view text, std::string_view special, std::string_view escape = "\\");

} // namespace zel::program
