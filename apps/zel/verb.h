#pragma once
#include <span>
#include <string_view>

namespace zel::program {

/// The words that follow a verb on the command line.
using Words = std::span<const char* const>;

/// What the program can be told to do; each verb stands in a file of its own.
struct Verb {
    std::string_view name;
    std::string_view summary;                  ///< one line, for the list of verbs
    std::string_view operands;                 ///< "INPUT… -o OUTPUT"
    std::string_view examples;                 ///< whole command lines; what `zel help VERB` begins with
    std::string_view notes;                    ///< what the flags' own lines do not tell; may be empty
    int (*run)(const Verb& verb, Words words); ///< gives the exit status; throws UsageError
};

extern const Verb exportVerb;
extern const Verb resizeVerb;
extern const Verb thumbnailVerb;
extern const Verb convertVerb;
extern const Verb watermarkVerb;
extern const Verb rotateVerb;
extern const Verb convolveVerb;
extern const Verb keyVerb;
extern const Verb fillVerb;
extern const Verb fillHolesVerb;
extern const Verb editVerb;
extern const Verb cropVerb;
extern const Verb tilesVerb;
extern const Verb joinVerb;
extern const Verb subjectsVerb;
extern const Verb straightenVerb;
extern const Verb exposeVerb;
extern const Verb sharpenVerb;
extern const Verb cubeVerb;
extern const Verb maskVerb;
extern const Verb renderVerb;
extern const Verb averageVerb;
extern const Verb colorsVerb;
extern const Verb compareVerb;
extern const Verb composerVerb;
extern const Verb canvasVerb;
extern const Verb fetchVerb;
extern const Verb uploadVerb;
extern const Verb cacheVerb;
extern const Verb infoVerb;
extern const Verb exifVerb;
extern const Verb formatsVerb;
extern const Verb versionVerb;
extern const Verb helpVerb;

/// All of them, in the order in which they are listed.
std::span<const Verb* const> verbs();
/// Null where there is none of that name.
const Verb* verbNamed(std::string_view name);

} // namespace zel::program
