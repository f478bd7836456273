#include <apps/zel-documents/rows.h>

#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <vector>

namespace zel::documents {
namespace {

TEST(Rows, StraightPixelsArePremultipliedOrLieOnPaper)
{
    std::mt19937 random(3);
    constexpr std::uint32_t alphas[] = {0, 1, 127, 128, 254, 255};
    for (const Paper paper : {noPaper, Paper{0xFFFFFFFF}, Paper{0xFF0A80F0}}) {
        std::vector<std::uint32_t> words;
        for (int i = 0; i < 300; ++i)
            words.push_back(alphas[i % 6] << 24 | (random() & 0xFFFFFFU));
        std::vector<std::uint8_t> row(words.size() * 4 + 1, 0xA5);
        takeStraightRow(words.data(), static_cast<int>(words.size()), paper, row.data());
        for (std::size_t i = 0; i < words.size(); ++i) {
            const double alpha = (words[i] >> 24) / 255.0;
            for (unsigned component = 0; component < 3; ++component) {
                const unsigned shift = 16 - 8 * component;
                const double own = (words[i] >> shift & 255U) * alpha, behind = (paper >> shift & 255U) * (1 - alpha);
                EXPECT_EQ(row[i * 4 + component], std::lround(own + behind)) << i; // noPaper adds 0
            }
            EXPECT_EQ(row[i * 4 + 3], paper == noPaper ? words[i] >> 24 : 255U) << i;
        }
        EXPECT_EQ(row.back(), 0xA5) << "nothing behind the row";
    }
}

TEST(Rows, PremultipliedPixelsLieOnPaper)
{
    std::uint8_t row[] = {0, 0, 0, 0, 64, 32, 0, 128, 9, 8, 7, 255};
    layRow(row, 3, 0xFF0080FF);
    const std::uint8_t expected[] = {0, 128, 255, 255, 64, 32 + 64, 127, 255, 9, 8, 7, 255};
    for (std::size_t i = 0; i < sizeof row; ++i)
        EXPECT_EQ(row[i], expected[i]) << i;
}

} // namespace
} // namespace zel::documents
