#pragma once
#include <zel/platform/foundation/ref.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <vector>

// PDF documents that tests make in code.
namespace zel::test {

/// A document of these objects, numbered from 1, the first one its catalogue, with a table of offsets as the standard
/// wants it.
inline std::string pdfOf(const std::vector<std::string>& objects, const std::string& trailer = {})
{
    std::string text = "%PDF-1.4\n", table = "0000000000 65535 f \n";
    for (std::size_t i = 0; i < objects.size(); ++i) {
        const std::string digits = std::to_string(text.size());
        table += std::string(10 - digits.size(), '0') + digits + " 00000 n \n";
        text += std::to_string(i + 1) + " 0 obj\n" + objects[i] + "\nendobj\n";
    }
    const std::string start = std::to_string(text.size()), count = std::to_string(objects.size() + 1);
    return text + "xref\n0 " + count + "\n" + table + "trailer<</Size " + count + "/Root 1 0 R" + trailer +
           ">>\nstartxref\n" + start + "\n%%EOF\n";
}

inline std::string streamOf(const std::string& entries, const std::string& content)
{
    return "<<" + entries + "/Length " + std::to_string(content.size()) + ">>stream\n" + content + "\nendstream";
}

struct Page {
    std::string entries;      ///< "/MediaBox[0 0 100 50]"
    std::string content = {}; ///< operators
};

/// The number of the first of the `further` objects.
inline std::size_t firstFurther(std::size_t pages)
{
    return 3 + 2 * pages;
}

/// `further`: objects that the pages refer to. `trailer`: entries of its own.
inline std::string pdf(const std::vector<Page>& pages, const std::vector<std::string>& further = {},
                       const std::string& trailer = {})
{
    std::string kids;
    for (std::size_t i = 0; i < pages.size(); ++i)
        kids += std::to_string(3 + 2 * i) + " 0 R ";
    std::vector<std::string> objects{"<</Type/Catalog/Pages 2 0 R>>",
                                     "<</Type/Pages/Kids[" + kids + "]/Count " + std::to_string(pages.size()) + ">>"};
    for (std::size_t i = 0; i < pages.size(); ++i) {
        const bool hasOwn = pages[i].entries.find("/Resources") != std::string::npos;
        objects.push_back(std::string("<</Type/Page/Parent 2 0 R") + (hasOwn ? "" : "/Resources<<>>") + "/Contents " +
                          std::to_string(4 + 2 * i) + " 0 R" + pages[i].entries + ">>");
        objects.push_back(streamOf({}, pages[i].content));
    }
    objects.insert(objects.end(), further.begin(), further.end());
    return pdfOf(objects, trailer);
}

/// Three pages of 10, 20 and 30 points, the second of which draws a form ten times, which draws another ten times, and
/// so on: nobody lives to see its end.
inline std::string pdfWithEndlessPage()
{
    constexpr std::size_t depth = 14, pages = 3;
    const auto reference = [](std::size_t number) { return std::to_string(firstFurther(pages) + number) + " 0 R"; };
    const auto uses = [&](std::size_t number) { return "/Resources<</XObject<</F " + reference(number) + ">>>>"; };
    std::vector<std::string> forms;
    for (std::size_t i = 0; i < depth; ++i) {
        const bool isLast = i + 1 == depth;
        std::string content;
        for (int times = 0; times < 10; ++times)
            content += isLast ? "0 0 m 9 9 l S " : "/F Do ";
        forms.push_back(streamOf(
            "/Type/XObject/Subtype/Form/BBox[0 0 10 10]" + (isLast ? "/Resources<<>>" : uses(i + 1)), content));
    }
    return pdf({{"/MediaBox[0 0 10 10]"}, {"/MediaBox[0 0 20 10]" + uses(0), "/F Do"}, {"/MediaBox[0 0 30 10]"}},
               forms);
}

/// Encrypted with a password that nobody knows.
inline std::string lockedPdf()
{
    const std::string key = "<" + std::string(64, '7') + ">";
    return pdf({{"/MediaBox[0 0 10 10]"}}, {},
               "/ID[<00><00>]/Encrypt<</Filter/Standard/V 1/R 2/O" + key + "/U" + key + "/P -4>>");
}

inline Data bytesOf(std::string_view text)
{
    return Data(std::vector<std::uint8_t>(text.begin(), text.end()));
}

} // namespace zel::test
