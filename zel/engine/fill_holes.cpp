#include <zel/engine/fill_holes.h>

#include <zel/engine/parallel.h>

#include <algorithm>
#include <array>
#include <limits>

// Regions that touch are the neighbours in a graph; the border is one more place in it, next to every region that
// touches it. What a region encloses is what no way leads to from the border once that region is taken away: the parts
// behind an articulation point. A depth-first walk from the border finds all of them at once (Hopcroft and Tarjan,
// Efficient algorithms for graph manipulation, 1973): behind a region lie those below it from which no link leads
// further up than to that region itself.
namespace zel::engine {
namespace {

constexpr std::uint32_t never = std::numeric_limits<std::uint32_t>::max();

/// Calls `take` with pairs of regions that touch, every pair at least once.
template <class Take>
void forEachContact(const RegionMap& map, const Take& take)
{
    // Most runs touch what the run before them in their region touched.
    std::vector<std::uint32_t> latest(map.regions().size(), never);
    const auto meet = [&](std::uint32_t a, std::uint32_t b) {
        const std::uint32_t set = map.regions()[a].isSet ? a : b, clear = a ^ b ^ set;
        if (latest[set] != clear)
            take(set, clear);
        latest[set] = clear;
    };
    for (int y = 0; y < map.height(); ++y) {
        const auto here = map.row(y);
        for (std::size_t i = 1; i < here.size(); ++i)
            meet(here[i - 1].region, here[i].region);
        if (y == 0)
            continue;
        const auto above = map.row(y - 1);
        std::size_t at = 0;
        for (std::size_t i = 0; i < here.size(); ++i) {
            while (map.end(above, at) <= here[i].start)
                ++at;
            const bool isSet = map.regions()[here[i].region].isSet;
            for (std::size_t j = at; j < above.size() && above[j].start < map.end(here, i); ++j)
                if (map.regions()[above[j].region].isSet != isSet)
                    meet(above[j].region, here[i].region);
        }
    }
}

/// The neighbours of each region, and of the border, which is the place behind the last region.
struct Contacts {
    std::vector<std::size_t> starts; ///< of each place's neighbours; one more at the end
    std::vector<std::uint32_t> neighbours;
};

Contacts contactsOf(const RegionMap& map)
{
    const auto border = static_cast<std::uint32_t>(map.regions().size());
    const auto forEachLink = [&](const auto& link) {
        forEachContact(map, [&](std::uint32_t a, std::uint32_t b) {
            link(a, b);
            link(b, a);
        });
        for (std::uint32_t region = 0; region < border; ++region)
            if (map.regions()[region].touchesBorder) {
                link(region, border);
                link(border, region);
            }
    };
    Contacts contacts;
    contacts.starts.resize(static_cast<std::size_t>(border) + 2);
    forEachLink([&](std::uint32_t from, std::uint32_t) { ++contacts.starts[from + 1]; });
    for (std::size_t i = 1; i < contacts.starts.size(); ++i)
        contacts.starts[i] += contacts.starts[i - 1];
    contacts.neighbours.resize(contacts.starts.back());
    forEachLink([&](std::uint32_t from, std::uint32_t to) { contacts.neighbours[contacts.starts[from]++] = to; });
    // Each start has moved to the next one's place.
    std::copy_backward(contacts.starts.begin(), contacts.starts.end() - 1, contacts.starts.end());
    contacts.starts.front() = 0;
    return contacts;
}

} // namespace

Holes findHoles(const RegionMap& map)
{
    const auto border = static_cast<std::uint32_t>(map.regions().size());
    const Contacts contacts = contactsOf(map);
    Holes holes;
    holes.regions.reserve(border);
    std::vector<std::uint32_t> reached(static_cast<std::size_t>(border) + 1, never); // when the walk came to a place
    std::vector<std::uint32_t> highest(reached.size());                              // the earliest place it links to
    std::vector<std::int64_t> pixels(reached.size());                                // with all that is below it
    std::vector<std::size_t> next(contacts.starts.begin(), contacts.starts.end() - 1);
    std::vector<std::uint32_t> way;
    const auto enter = [&](std::uint32_t place) {
        // The border counts as the first place reached; a region's number is then its place in `regions` plus 1.
        reached[place] = highest[place] = place == border ? 0 : static_cast<std::uint32_t>(holes.regions.size()) + 1;
        if (place != border) {
            pixels[place] = map.regions()[place].pixels;
            holes.regions.push_back(place);
        }
        way.push_back(place);
    };
    enter(border);
    while (!way.empty()) {
        const std::uint32_t place = way.back();
        if (next[place] < contacts.starts[place + 1]) {
            const std::uint32_t neighbour = contacts.neighbours[next[place]++];
            if (reached[neighbour] == never)
                enter(neighbour);
            else
                highest[place] = std::min(highest[place], reached[neighbour]);
            continue;
        }
        way.pop_back();
        if (way.empty())
            break;
        const std::uint32_t above = way.back();
        highest[above] = std::min(highest[above], highest[place]);
        pixels[above] += pixels[place];
        if (above != border && map.regions()[above].isSet && highest[place] >= reached[above])
            holes.list.push_back(
                {above, reached[place] - 1, static_cast<std::uint32_t>(holes.regions.size()), pixels[place]});
    }
    std::sort(holes.list.begin(), holes.list.end(), [](const Hole& a, const Hole& b) {
        return a.around != b.around ? a.around < b.around : a.first < b.first;
    });
    return holes;
}

void fillEnclosed(const RegionMap& map, const Pixels& pixels, std::uint8_t red, std::uint8_t green, std::uint8_t blue)
{
    const std::array<std::uint8_t, 4> color = {red, green, blue, 255};
    parallelFor(map.height(), map.width(), [&](int first, int last) {
        for (int y = first; y < last; ++y) {
            const auto runs = map.row(y);
            for (std::size_t i = 0; i < runs.size(); ++i) {
                const Region& region = map.regions()[runs[i].region];
                if (!region.isSet && !region.touchesBorder)
                    for (int x = runs[i].start; x < map.end(runs, i); ++x)
                        std::copy(color.begin(), color.end(), pixels.at(x, y));
            }
        }
    });
}

} // namespace zel::engine
