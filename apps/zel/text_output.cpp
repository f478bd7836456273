#include "text_output.h"

#include "text.h"

#include <zel/platform/foundation/atomic_write.h>

#include <fmt/format.h>

#include <sys/stat.h>

namespace zel::program {

void TextOutput::declare(Arguments& arguments)
{
    arguments.section("Outputs");
    arguments.text("-o,--output", "FILE", file, "a file in place of standard output");
}

void TextOutput::check(const Inputs& inputs, const ReportOptions& reports) const
{
    if (!file)
        return;
    if (file->empty())
        throw UsageError("--output: an empty name");
    if (!isFile()) {
        if (reports.json || reports.jsonl)
            throw UsageError("standard output cannot take both the result and JSON");
        return;
    }
    struct stat facts = {};
    if (::stat(file->c_str(), &facts) != 0)
        return;
    for (const auto& input : inputs.list)
        if (input.node != 0 && input.node == facts.st_ino && input.device == facts.st_dev)
            throw UsageError(fmt::format("{}: the output is an input", *file));
}

int TextOutput::finish(std::string_view verb, Reporter& reporter, const std::string& text) const
{
    if (!isFile())
        return reporter.finish([&](const std::vector<Outcome>&) { return text; });
    const int status = reporter.finish();
    if (text.empty() ||
        writeAtomically(URL::file(*file), {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()},
                        {.createFolders = true}))
        return status;
    Outcome lost;
    lost.output = *file;
    lost.failure = ZelFailure::last();
    writeError(printable(fmt::format("zel {}: {}", verb, failureText(lost))));
    return status == 0 ? statusOf(lost.failure.code) : status;
}

} // namespace zel::program
