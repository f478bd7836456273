#include <zel/platform/codecs/jpeg_huffman.h>

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <memory>

// The tables of the standard's annex K suit pictures of high quality. At few bits a pixel, made-to-measure ones save a
// sixth of the bytes, and a sample of the rows is enough to make them.
namespace zel {
namespace {

constexpr int sampledRows = 16; // of coding units
constexpr int mostLength = 16;
constexpr int mostSizeDc = 11, mostSizeAc = 10; // bits of a value, T.81 tables F.1 and F.2
constexpr int mostRun = 15;

int sizeOf(int value)
{
    return static_cast<int>(std::bit_width(static_cast<unsigned>(std::abs(value))));
}

struct Counts {
    JpegSymbolCounts dc{}, ac{};
};

void count(const JCOEF* block, int dcBefore, Counts& counts)
{
    ++counts.dc[static_cast<std::size_t>(sizeOf(block[0] - dcBefore))];
    std::size_t run = 0;
    for (std::size_t index = 1; index < jpegZigzag.size(); ++index) {
        const int value = block[jpegZigzag[index]];
        if (value == 0) {
            ++run;
            continue;
        }
        counts.ac[0xF0] += static_cast<std::uint32_t>(run / 16);
        ++counts.ac[run % 16 << 4 | static_cast<std::size_t>(sizeOf(value))];
        run = 0;
    }
    if (run > 0)
        ++counts.ac[0];
}

// What the sample does not hold may still come.
void admitAll(Counts& counts)
{
    constexpr std::uint32_t weight = 16; // of what was seen
    for (auto* each : {&counts.dc, &counts.ac})
        for (auto& value : *each)
            value *= weight;
    for (std::size_t size = 0; size <= mostSizeDc; ++size)
        ++counts.dc[size];
    for (std::size_t run = 0; run <= mostRun; ++run)
        for (std::size_t size = 1; size <= mostSizeAc; ++size)
            ++counts.ac[run << 4 | size];
    ++counts.ac[0];
    ++counts.ac[0xF0];
}

// Brings codes that are too long to 16 bits: two of the longest make room by pairing a shorter one (T.81, figure K.3).
void shorten(std::array<int, 257>& codes)
{
    for (std::size_t length = codes.size() - 1; length > mostLength; --length)
        while (codes[length] > 0) {
            std::size_t shorter = length - 2;
            while (codes[shorter] == 0)
                --shorter;
            codes[length] -= 2;
            ++codes[length - 1];
            codes[shorter + 1] += 2;
            --codes[shorter];
        }
}

} // namespace

JpegHuffmanTable makeHuffmanTable(const JpegSymbolCounts& counts)
{
    // Huffman's joining of the two rarest, with one more symbol that takes the code of all ones. A symbol's length
    // grows with each tree that it is joined into.
    constexpr std::size_t spare = 256;
    struct Tree {
        std::uint64_t weight;
        std::vector<std::size_t> symbols;
    };
    std::vector<Tree> trees{{1, {spare}}};
    for (std::size_t symbol = 0; symbol < counts.size(); ++symbol)
        if (counts[symbol] > 0)
            trees.push_back({std::uint64_t{2} * counts[symbol], {symbol}}); // the spare one is the rarest
    std::array<std::size_t, 257> lengths{};
    const auto heavier = [](const Tree& left, const Tree& right) { return left.weight > right.weight; };
    std::make_heap(trees.begin(), trees.end(), heavier);
    const auto takeRarest = [&] {
        std::pop_heap(trees.begin(), trees.end(), heavier);
        Tree rarest = std::move(trees.back());
        trees.pop_back();
        return rarest;
    };
    while (trees.size() > 1) {
        Tree joined = takeRarest();
        const Tree other = takeRarest();
        joined.weight += other.weight;
        joined.symbols.insert(joined.symbols.end(), other.symbols.begin(), other.symbols.end());
        for (const std::size_t symbol : joined.symbols)
            ++lengths[symbol];
        trees.push_back(std::move(joined));
        std::push_heap(trees.begin(), trees.end(), heavier);
    }

    std::array<int, 257> codes{};
    for (const std::size_t length : lengths)
        ++codes[length];
    codes[0] = 0; // of those that never come
    shorten(codes);
    JpegHuffmanTable table;
    for (std::size_t length = 1; length <= mostLength; ++length)
        table.codes[length] = static_cast<std::uint8_t>(codes[length]);
    // The last code of all is the spare symbol's.
    for (std::size_t length = mostLength; length > 0; --length)
        if (table.codes[length] > 0) {
            --table.codes[length];
            break;
        }
    for (std::size_t symbol = 0; symbol < counts.size(); ++symbol)
        if (counts[symbol] > 0)
            table.symbols.push_back(static_cast<std::uint8_t>(symbol));
    std::stable_sort(table.symbols.begin(), table.symbols.end(),
                     [&lengths](std::uint8_t left, std::uint8_t right) { return lengths[left] < lengths[right]; });
    return table;
}

JpegHuffmanTables tablesFor(const JpegCoefficients& coefficients, const JpegRequantizer& requantizer)
{
    const jpeg_decompress_struct& info = coefficients.decoder().info();
    std::array<Counts, 2> counts;
    for (int component = 0; component < info.num_components; ++component) {
        Counts& mine = counts[component == 0 ? 0 : 1];
        const auto wide = static_cast<std::size_t>(coefficients.blocksWide(component));
        const auto row = std::make_unique<JBLOCK[]>(wide);
        const int high = coefficients.blocksHigh(component);
        const int step = std::max(1, high / sampledRows);
        for (int y = step / 2; y < high; y += step) {
            requantizer.row(component, y, row.get(), wide);
            for (std::size_t x = 0; x < wide; ++x)
                count(row[x], x == 0 ? 0 : row[x - 1][0], mine);
        }
    }
    JpegHuffmanTables tables;
    for (std::size_t table = 0; table < counts.size(); ++table) {
        admitAll(counts[table]);
        tables.dc[table] = makeHuffmanTable(counts[table].dc);
        tables.ac[table] = makeHuffmanTable(counts[table].ac);
    }
    return tables;
}

} // namespace zel
