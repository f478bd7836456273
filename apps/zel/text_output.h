#pragma once
#include "inputs.h"
#include "reporter.h"

namespace zel::program {

/// Where a verb's text goes: standard output, or a file that is replaced whole.
struct TextOutput {
    std::optional<std::string> file; ///< "-" is standard output

    void declare(Arguments& arguments);
    /// Throws UsageError: an output that is an input, text and JSON on one output.
    void check(const Inputs& inputs, const ReportOptions& reports) const;
    /// Ends the report and hands out the text, where there is any. Gives the exit status.
    int finish(std::string_view verb, Reporter& reporter, const std::string& text) const;

private:
    [[nodiscard]] bool isFile() const { return file && *file != "-"; }
};

} // namespace zel::program
