#include "pages.h"

#include "zel_versions.h"

#include <fmt/format.h>

#include <algorithm>

// Manual pages in the macros of man(7).
namespace zel::program {
namespace {

/// Text as troff prints it: letter by letter, signs of ASCII as they can be copied into a shell.
std::string troff(std::string_view text)
{
    std::string result;
    for (const char c : text) {
        switch (c) {
        case '\\':
            result += "\\(rs";
            break;
        case '-':
            result += "\\-";
            break;
        case '\'':
            result += "\\(aq";
            break;
        case '`':
            result += "\\(ga";
            break;
        case '^':
            result += "\\(ha";
            break;
        case '~':
            result += "\\(ti";
            break;
        case '"':
            result += "\\(dq";
            break;
        default:
            result += c;
        }
    }
    return result;
}

/// A line of text; one that begins with a point is no request.
std::string line(std::string_view text)
{
    return (text.starts_with('.') ? "\\&" : "") + troff(text) + '\n';
}

std::string bold(std::string_view text)
{
    return "\\fB" + troff(text) + "\\fR";
}

std::string heading(std::string_view title)
{
    std::string upper(title);
    std::transform(upper.begin(), upper.end(), upper.begin(),
                   [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; });
    return fmt::format(".SH \"{}\"\n", troff(upper));
}

std::string start(std::string_view name, std::string_view summary)
{
    std::string upper(name);
    std::transform(upper.begin(), upper.end(), upper.begin(),
                   [](char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; });
    std::string lower(summary);
    if (lower.size() > 1 && lower[0] >= 'A' && lower[0] <= 'Z' && !(lower[1] >= 'A' && lower[1] <= 'Z'))
        lower[0] = static_cast<char>(lower[0] - 'A' + 'a');
    return fmt::format(".TH {} 1 \"\" \"ZelImaging {}\" \"ZelImaging\"\n", upper, troff(programVersion)) +
           heading("Name") + fmt::format("{} \\- {}\n", escaped(name, "-"), troff(lower));
}

std::vector<std::string_view> linesOf(std::string_view text)
{
    std::vector<std::string_view> lines;
    while (!text.empty()) {
        const auto end = std::min(text.find('\n'), text.size());
        lines.push_back(text.substr(0, end));
        text.remove_prefix(std::min(end + 1, text.size()));
    }
    return lines;
}

/// Lines are filled to paragraphs; indented ones stand as they are.
std::string prose(std::string_view text)
{
    std::string result;
    bool literal = false;
    for (const auto each : linesOf(text)) {
        const bool indented = each.starts_with("  ");
        if (indented != literal)
            result += indented ? ".PP\n.EX\n" : ".EE\n.PP\n";
        literal = indented;
        result += each.empty() ? ".PP\n" : line(each);
    }
    return result + (literal ? ".EE\n" : "");
}

/// "Examples:" and then command lines, indented by two.
std::string examples(std::string_view text)
{
    std::string result = heading("Examples") + ".EX\n";
    for (const auto each : linesOf(text))
        if (each.starts_with("  "))
            result += line(each.substr(2));
    return result + ".EE\n";
}

std::string flagEntry(const Flag& flag)
{
    std::string names;
    for (const auto& name : flag.names)
        names += (names.empty() ? "" : ", ") + bold(name);
    if (!flag.value.empty())
        names += " \\fI" + troff(flag.value) + "\\fR";
    std::string text = flag.help;
    const auto isUntold = [&](const std::string& word) { return flag.help.find(word) == std::string::npos; };
    if (std::any_of(flag.words.begin(), flag.words.end(), isUntold))
        text += fmt::format("; one of {}", fmt::join(flag.words, ", "));
    return ".TP\n" + names + '\n' + line(text);
}

struct Entry {
    std::string_view name, text;
};

std::string table(std::initializer_list<Entry> entries)
{
    std::string result;
    for (const auto& [name, text] : entries)
        result += ".TP\n" + bold(name) + '\n' + line(text);
    return result;
}

constexpr std::string_view inputsAndOutputs =
    R"(Inputs are files, - for standard input, folders with -r, or a list with --files-from. What a file is, is told
from its content, never from its name.

Outputs are named by -o alone: a file, a folder, a pattern such as out/{stem}-{n:04}.{ext}, or -. In a pattern
{stem} and {ext} are the input's name and the output's extension, {n} counts, {page}, {row}, {col}, {width} and {height} are
what they say, where there is such a thing; {n:04} has four digits. A single output that is named replaces what stands
there, whole: others see the old file or the new one. Folders and patterns replace nothing without --force. An output
that is an input needs --in-place. Two inputs for one output are refused before any work. The format comes from
--format, else the output's extension, else the input's.

Numbers know no locale. Bytes take k, M, G (thousands) or KiB, MiB, GiB; times 500ms, 8s, 2m; colours #rgb, #rrggbb,
#rrggbbaa, white, black, transparent.
)";

std::string exitStatus()
{
    return heading("Exit status") +
           table({{"0", "All is done."},
                  {"1", "Some input failed, or pictures differ."},
                  {"2", "Wrong usage; nothing was touched."},
                  {"3", "The one input is missing, unsupported or damaged."},
                  {"4", "A limit."},
                  {"5", "The output cannot be written, or exists."},
                  {"6", "A part of the program is not installed; the message names the package."},
                  {"130", "Interrupted."}});
}

} // namespace

std::string programPage(const std::vector<DescribedVerb>& verbs)
{
    std::string page = start("zel", "resizes, marks, converts and examines pictures") + heading("Synopsis") +
                       bold("zel") + " \\fIVERB INPUT\\fR... " + bold("-o") + " \\fIOUTPUT\\fR [\\fIflags\\fR]\n.br\n" +
                       bold("zel help") + " [\\fIVERB\\fR]\n" + heading("Description") +
                       "One verb is one operation. Each has a page of its own, such as\n.BR zel\\-export (1).\n";
    page += heading("Verbs");
    for (const auto& [verb, description, first] : verbs)
        page += fmt::format(".TP\n{}\n", bold(verb.name)) + line(verb.summary);
    page += heading("Inputs and outputs") + prose(inputsAndOutputs) + exitStatus() + heading("See also");
    for (const auto& [verb, description, first] : verbs)
        page += fmt::format(".BR zel\\-{} (1){}\n", troff(verb.name), &verb == &verbs.back().verb ? "" : ",");
    return page;
}

std::string verbPage(const DescribedVerb& described)
{
    const auto& [verb, description, first] = described;
    std::string page = start(fmt::format("zel-{}", verb.name), verb.summary) + heading("Synopsis") +
                       bold(fmt::format("zel {}", verb.name)) + ' ' + troff(verb.operands) + '\n' +
                       heading("Description") + line(fmt::format("{}.", verb.summary));
    if (!verb.notes.empty())
        page += ".PP\n" + prose(verb.notes);
    page += heading("Options");
    for (const auto& [title, flags] : description.groups) {
        if (!title.empty())
            page += fmt::format(".SS \"{}\"\n", troff(title));
        for (const auto& flag : flags)
            page += flagEntry(flag);
    }
    return page + examples(verb.examples) + exitStatus() + heading("See also") + ".BR zel (1)\n";
}

} // namespace zel::program
