#pragma once
#include "inputs.h"
#include "output_pattern.h"
#include "picture_formats.h"

#include <map>
#include <mutex>

namespace zel::program {

/// Where each input's result goes, settled before any work begins.
class OutputPlan {
public:
    struct Output {
        std::string path; ///< "-" for standard output; placeholders of the size may still be in it
        Format format = Format::png;
        bool mayReplace = false; ///< a file of that name may stand there
    };

    /// What an input becomes: one picture, or several, whose outputs need a folder, or a pattern that tells them apart:
    /// tiles by row and column, pages by their number within the document (a single page may go to a file that is
    /// named), others by their number within the input.
    enum class Results { one, tiles, numbered, pages };

    /// Throws UsageError: no output, two inputs for one, an output that is an input, a format that is not written.
    /// `others` are further files that the work reads, such as a watermark.
    OutputPlan(const OutputOptions& options, const Inputs& inputs, std::optional<Format> format,
               const std::vector<std::string>& others, Results results = Results::one);

    [[nodiscard]] const Output& of(std::size_t input) const { return outputs_[input]; }
    [[nodiscard]] bool goesToStandardOutput() const { return kind_ == Kind::standardOutput; }

    struct Claim {
        std::string path;
        bool isFree; ///< false: it is the name of an input, or of another input's output
    };
    /// The output's name when the result's size is known, taken for this input. May be called from several threads.
    [[nodiscard]] Claim claim(std::size_t input, int width, int height);
    struct Tile {
        std::size_t row, column;
        int width, height;
    };
    [[nodiscard]] Claim claim(std::size_t input, const Tile& tile);
    struct Piece {
        std::size_t number, count; ///< from 1, of so many
        int width, height;
    };
    [[nodiscard]] Claim claim(std::size_t input, const Piece& piece);
    struct Page {
        std::size_t number, count; ///< from 1, of so many in the document
        int width, height;
    };
    [[nodiscard]] Claim claim(std::size_t input, const Page& page);

private:
    enum class Kind { standardOutput, inPlace, file, folder, pattern };
    using Node = std::pair<dev_t, ino_t>;

    static Kind kindOf(const OutputOptions& options, const Inputs& inputs);
    static Kind kindOfSeveral(const OutputOptions& options, const Inputs& inputs, Results results);
    void checkPattern(const std::string& pattern) const;
    [[nodiscard]] Claim take(std::size_t input, std::string path);
    Output plan(const OutputOptions& options, const Input& input, std::optional<Format> format, std::size_t index);
    /// Refuses an output that would hit a file that is read; gives whether it is an input that may be replaced.
    [[nodiscard]] bool replacesInput(const std::string& path, bool inPlace) const;

    Kind kind_;
    Results results_;
    std::optional<OutputPattern> pattern_;
    std::vector<Output> outputs_;
    std::vector<std::pair<std::string, std::string>> names_; ///< stem and extension of each output under a pattern
    std::vector<Node> inputs_, others_;                      ///< files that are read, sorted
    std::map<std::string, std::size_t> taken_;               ///< names, made comparable, and the input that has each
    std::mutex mutex_;
};

} // namespace zel::program
