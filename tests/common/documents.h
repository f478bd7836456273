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

struct Page {
    std::string entries;      ///< "/MediaBox[0 0 100 50]"
    std::string content = {}; ///< operators
};

/// With a table of offsets, as the standard wants it.
inline std::string pdf(const std::vector<Page>& pages)
{
    std::string text = "%PDF-1.4\n";
    std::vector<std::size_t> offsets;
    const auto add = [&](const std::string& body) {
        offsets.push_back(text.size());
        text += std::to_string(offsets.size()) + " 0 obj\n" + body + "\nendobj\n";
    };
    add("<</Type/Catalog/Pages 2 0 R>>");
    std::string kids;
    for (std::size_t i = 0; i < pages.size(); ++i)
        kids += std::to_string(3 + 2 * i) + " 0 R ";
    add("<</Type/Pages/Kids[" + kids + "]/Count " + std::to_string(pages.size()) + ">>");
    for (std::size_t i = 0; i < pages.size(); ++i) {
        add("<</Type/Page/Parent 2 0 R/Resources<<>>/Contents " + std::to_string(4 + 2 * i) + " 0 R" +
            pages[i].entries + ">>");
        add("<</Length " + std::to_string(pages[i].content.size()) + ">>stream\n" + pages[i].content + "\nendstream");
    }
    const std::size_t table = text.size();
    text += "xref\n0 " + std::to_string(offsets.size() + 1) + "\n0000000000 65535 f \n";
    for (const std::size_t offset : offsets) {
        const std::string digits = std::to_string(offset);
        text += std::string(10 - digits.size(), '0') + digits + " 00000 n \n";
    }
    text += "trailer<</Size " + std::to_string(offsets.size() + 1) + "/Root 1 0 R>>\nstartxref\n" +
            std::to_string(table) + "\n%%EOF\n";
    return text;
}

inline Data bytesOf(std::string_view text)
{
    return Data(std::vector<std::uint8_t>(text.begin(), text.end()));
}

} // namespace zel::test
