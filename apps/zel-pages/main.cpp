#include "pages.h"

#include <fmt/format.h>

#include <cstdio>
#include <exception>
#include <filesystem>
#include <fstream>

// zel-pages FOLDER: writes manual pages and completions to man1/, bash/, zsh/ and fish/ in it. Run by the build, so
// that what is installed never says less or more than the program does.
namespace {

void write(const std::filesystem::path& file, const std::string& text)
{
    std::ofstream out(file, std::ios::binary);
    out << text;
    out.close();
    if (!out)
        throw std::runtime_error(fmt::format("{} cannot be written", file.string()));
}

void writeAll(const std::filesystem::path& folder)
{
    for (const char* const name : {"man1", "bash", "zsh", "fish"}) {
        std::filesystem::remove_all(folder / name); // pages of verbs that are gone
        std::filesystem::create_directories(folder / name);
    }
    const auto verbs = zel::program::describedVerbs();
    write(folder / "man1" / "zel.1", programPage(verbs));
    for (const auto& described : verbs)
        write(folder / "man1" / fmt::format("zel-{}.1", described.verb.name), verbPage(described));
    write(folder / "bash" / "zel", bashCompletion(verbs));
    write(folder / "zsh" / "_zel", zshCompletion(verbs));
    write(folder / "fish" / "zel.fish", fishCompletion(verbs));
}

} // namespace

int main(int count, char** words)
{
    if (count != 2) {
        std::fputs("zel-pages: one folder is needed\n", stderr);
        return 2;
    }
    try {
        writeAll(words[1]);
    } catch (const std::exception& error) {
        std::fputs(fmt::format("zel-pages: {}\n", error.what()).c_str(), stderr);
        return 1;
    }
    return 0;
}
