#pragma once
#include "seeds.h"

#include <zel/platform/codecs/heif_contents.h>

#include <string>
#include <utility>
#include <vector>

// HEIF files put together box by box (ISO/IEC 14496-12, 23008-12), around coded pictures that another library made.
namespace zel::test {

using Bytes = std::vector<std::uint8_t>;

inline Bytes operator+(Bytes a, const Bytes& b)
{
    a.insert(a.end(), b.begin(), b.end());
    return a;
}
inline Bytes be(std::uint64_t value, int bytes)
{
    Bytes result;
    for (int shift = 8 * (bytes - 1); shift >= 0; shift -= 8)
        result.push_back(shift < 64 ? static_cast<std::uint8_t>(value >> static_cast<unsigned>(shift))
                                    : std::uint8_t{0});
    return result;
}
inline Bytes text(std::string_view letters)
{
    return {letters.begin(), letters.end()};
}
inline Bytes box(std::string_view type, const Bytes& payload)
{
    return be(8 + payload.size(), 4) + text(type) + payload;
}

struct MadeItem {
    std::string type; ///< "hvc1"
    Bytes data;
    std::vector<Bytes> properties;
    std::vector<int> sources = {}; ///< numbers of items, from 1
    std::vector<std::pair<std::string, int>> references = {};
};

/// Items are numbered from 1, the first one is the primary one.
inline Bytes madeHeif(const std::vector<MadeItem>& items, std::uint64_t statedItems = 0)
{
    Bytes infos, places, references, properties, associations, data;
    int property = 0, number = 0;
    for (const MadeItem& item : items) {
        ++number;
        infos = infos + box("infe", be(2 << 24, 4) + be(static_cast<unsigned>(number), 2) + be(0, 2) + text(item.type) +
                                        be(0, 1));
        associations = associations + be(static_cast<unsigned>(number), 2) + be(item.properties.size(), 1);
        for (const Bytes& each : item.properties) {
            properties = properties + each;
            associations.push_back(static_cast<std::uint8_t>(++property));
        }
        std::vector<std::pair<std::string, std::vector<int>>> all;
        if (!item.sources.empty())
            all.push_back({"dimg", item.sources});
        for (const auto& [type, to] : item.references)
            all.push_back({type, {to}});
        for (const auto& [type, targets] : all) {
            Bytes entry = be(static_cast<unsigned>(number), 2) + be(targets.size(), 2);
            for (const int to : targets)
                entry = entry + be(static_cast<unsigned>(to), 2);
            references = references + box(type, entry);
        }
    }
    const Bytes start = box("ftyp", text("heic") + be(0, 4) + text("mif1heic"));
    const auto meta = [&](const Bytes& locations) {
        return box(
            "meta",
            be(0, 4) + box("hdlr", be(0, 8) + text("pict") + be(0, 13)) + box("pitm", be(0, 4) + be(1, 2)) +
                box("iinf",
                    (statedItems > 0 ? be(1 << 24, 4) + be(statedItems, 4) : be(0, 4) + be(items.size(), 2)) + infos) +
                box("iref", be(0, 4) + references) +
                box("iprp", box("ipco", properties) + box("ipma", be(0, 4) + be(items.size(), 4) + associations)) +
                box("iloc", be(0, 4) + be(0x4400, 2) + be(items.size(), 2) + locations));
    };
    const std::size_t before = start.size() + meta(Bytes(14 * items.size())).size() + 8;
    number = 0;
    for (const MadeItem& item : items) {
        places = places + be(static_cast<unsigned>(++number), 2) + be(0, 2) + be(1, 2) + be(before + data.size(), 4) +
                 be(item.data.size(), 4);
        data = data + item.data;
    }
    return start + meta(places) + box("mdat", data);
}

inline Bytes sizeProperty(int width, int height)
{
    return box("ispe", be(0, 4) + be(static_cast<unsigned>(width), 4) + be(static_cast<unsigned>(height), 4));
}

/// The coded picture of the seed "heif-colour", 64 × 64 pixels, of which the first 48 rows count.
inline MadeItem codedItem()
{
    for (const seeds::Seed& seed : seeds::heifSeeds()) {
        if (seed.name != "heif-colour")
            continue;
        const auto source = ByteSource::view(seed.bytes);
        const auto tables = heif::readTables(*source);
        const heif::Item& item = tables->items.at(tables->primary);
        const heif::Box& configuration = *tables->property(item, heif::fourCharacters("hvcC"));
        return {"hvc1",
                heif::readItem(*source, item, seed.bytes.size()),
                {sizeProperty(64, 48), box("hvcC", {configuration.payload.begin(), configuration.payload.end()})}};
    }
    return {};
}

inline MadeItem grid(int rows, int columns, int width, int height, std::vector<int> tiles)
{
    return {"grid",
            Bytes{0, 0, static_cast<std::uint8_t>(rows - 1), static_cast<std::uint8_t>(columns - 1)} +
                be(static_cast<unsigned>(width), 2) + be(static_cast<unsigned>(height), 2),
            {sizeProperty(width, height)},
            std::move(tiles)};
}

} // namespace zel::test
