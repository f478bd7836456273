#pragma once
#include "pictures.h"

namespace zel::program {

/// A step as it is written: "--resize width=800,fit=fill", or {"do": "resize", "width": 800, "fit": "fill"}.
struct StepWords {
    std::string name;
    std::vector<std::pair<std::string, std::string>> settings; ///< names and texts, in the order written

    friend bool operator==(const StepWords&, const StepWords&) = default;
};

/// What a step takes of the picture before it.
enum class Needs {
    nothing, ///< it only says how the picture will stand
    rows,    ///< rows as they are decoded, reduced where that serves
    pixels,  ///< all pixels at once
};

/// One thing that `edit` does.
struct EditStep {
    std::function<PictureStep()> prepare;    ///< called once; loads what it needs; nothing, noted, where it cannot
    std::function<CGSize(CGSize)> sizeAfter; ///< in pixels
    Needs needs = Needs::pixels;
    std::vector<std::string> files = {}; ///< that it reads
    StepWords words = {};
};

/// The settings of one step, read by name. What they cannot mean is a UsageError.
class StepSettings {
public:
    explicit StepSettings(const StepWords& words) : words_(words) {}

    template <class T, class Read>
    void read(std::string_view name, std::optional<T>& into, Read meaning)
    {
        if (const std::string* const text = find(name))
            into = meant(name, [&] { return T(meaning(*text)); });
    }
    void text(std::string_view name, std::optional<std::string>& into)
    {
        read(name, into, [](const std::string& word) { return word; });
    }
    /// "yes" or "no"; true or false in a recipe.
    void flag(std::string_view name, bool& into);
    /// Refuses settings that nothing has asked for; called once all have been read.
    void refuseOthers() const;

private:
    const std::string* find(std::string_view name);
    template <class Meaning>
    auto meant(std::string_view name, const Meaning& meaning)
    {
        try {
            return meaning();
        } catch (const UsageError& error) {
            throw UsageError(std::string(name) + ": " + error.what(), error.hint());
        }
    }

    const StepWords& words_;
    std::vector<std::string_view> known_;
};

struct StepKind {
    std::string_view name;
    std::string_view mainSetting; ///< what a text without "=" tells
    std::string_view value;       ///< for the help
    std::string_view help;
    EditStep (*make)(StepSettings& settings);
};

/// All of them, in the order of the help.
std::span<const StepKind> stepKinds();
/// Null where there is none of that name.
const StepKind* stepKindNamed(std::string_view name);

/// "800x600,fit=fill": the main setting first, further ones by name. A part without "=" belongs to what is before it.
StepWords readStepWords(const StepKind& kind, std::string_view text);
/// Throws UsageError, the step's flag in front.
EditStep makeStep(StepWords words);

} // namespace zel::program
