#include "batch.h"
#include "output_plan.h"
#include "pictures.h"
#include "quantity.h"

#include <zel/operations/tile_plan.h>
#include <zel/platform/foundation/atomic_write.h>
#include <zel/platform/foundation/notes.h>
#include <zel/platform/foundation/number_text.h>
#include <zel/platform/graphics/image_part.h>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <atomic>
#include <sys/stat.h>
#include <thread>

namespace zel::program {
namespace {

using Json = nlohmann::ordered_json;

constexpr std::string_view examples = R"(Examples:
  zel tiles map.png -o tiles/ --tile 256x256
  zel tiles photo.jpg -o 'tiles/{row}/{col}.jpg' --tile 272x272 --border 8
  zel tiles sheet.png -o cards/ --grid 4x3
  zel tiles -r maps -o 'out/{stem}/{row:03}-{col:03}.{ext}' --tile 512x512
)";

constexpr std::string_view notes =
    R"(Rows count from the top, columns from the left, both from 0. Neighbours share twice the
border; tiles at the right and bottom edges may be smaller. Pictures are cut while they
are decoded: a few rows of tiles are in memory at a time.
)";

/// How each picture is cut.
struct Cutting {
    struct Grid {
        std::int64_t across, down;
    };
    std::optional<CGSize> tile;
    std::optional<Grid> grid;
    std::optional<std::int64_t> border;

    void declare(Arguments& arguments);
    void check() const;
    [[nodiscard]] SplitTo of(CGSize picture) const;
};

void Cutting::declare(Arguments& arguments)
{
    constexpr std::int64_t most = 1'000'000;
    arguments.section("Tiles");
    arguments.value("--tile", "WxH", tile, readDimensions, "the size of a tile, borders included");
    arguments.value(
        "--grid", "CxR", grid,
        [](std::string_view text) {
            const CGSize counts = readDimensions(text);
            return Grid{static_cast<std::int64_t>(counts.width), static_cast<std::int64_t>(counts.height)};
        },
        "so many tiles across and down");
    arguments.value(
        "--border", "N", border, [](std::string_view text) { return readWhole(text, 0, most); },
        "pixels that a tile shows of its neighbours, on each side (0)");
}

void Cutting::check() const
{
    if (tile && grid)
        throw UsageError("--tile and --grid exclude each other");
    if (!tile && !grid)
        throw UsageError("no tiles", "--tile WxH or --grid CxR");
    if (tile && 2 * static_cast<double>(border.value_or(0)) >= std::min(tile->width, tile->height))
        throw UsageError(
            fmt::format("--border: {} leaves nothing of a tile of {} x {}", *border, tile->width, tile->height));
}

SplitTo Cutting::of(CGSize picture) const
{
    const std::int64_t shared = 2 * border.value_or(0);
    const auto side = [&](CGFloat whole, std::int64_t count) {
        return divided(whole + static_cast<double>(shared * (count - 1)), {.by = count});
    };
    return {.to = tile ? *tile : CGSize{side(picture.width, grid->across), side(picture.height, grid->down)},
            .tileBorder = border.value_or(0)};
}

/// All tiles of one picture, from its file to theirs.
class TilesOfOne {
public:
    TilesOfOne(const PictureOptions& options, const Input& input, const OutputPlan::Output& output,
               const Ref<ZelImage>& image, const TilePlan& tiles, int together)
        : options_(options),
          input_(input),
          output_(output),
          image_(image),
          tiles_(tiles),
          resolution_(resolutionOf(image)),
          together_(together)
    {
    }

    /// Gives each tile its name; an outcome where one cannot be had.
    std::optional<Outcome> claimNames(OutputPlan& plan, std::size_t index)
    {
        for (std::size_t row = 0; row < tiles_.tops.size(); ++row)
            for (std::size_t column = 0; column < tiles_.lefts.size(); ++column) {
                const auto area = pixelArea({{tiles_.lefts[column], tiles_.tops[row]}, tiles_.tile},
                                            image_->cgImage->width(), image_->cgImage->height());
                auto& name = names_.emplace_back();
                if (!area)
                    continue;
                auto [path, isFree] = plan.claim(index, OutputPlan::Tile{row, column, area->width, area->height});
                if (!isFree)
                    return refused(path, "another picture of this run has this name");
                if (!options_.outputs.force && standsThere(path)) {
                    if (!options_.outputs.skipExisting)
                        return refused(path, std::string(existsAlready));
                    continue;
                }
                name = std::move(path);
                ++wanted_;
            }
        if (wanted_ > 0)
            return std::nullopt;
        Outcome outcome = told();
        outcome.state = Outcome::State::skipped;
        return outcome;
    }

    Outcome run(const ZelReport& report)
    {
        const bool done = handOutTiles(image_, tiles_, together_, [&](TilePlace place, const Ref<ZelImage>& tile) {
            const std::string& path = names_[place.row * tiles_.lefts.size() + place.column];
            if (path.empty())
                return true;
            const auto bytes = encodePicture(tile, output_.format, options_.encoding, resolution_);
            return bytes && add(path, *bytes);
        });
        if (!done)
            return failedFor(ZelFailure::last());
        if (const auto warning = options_.reports.strict ? firstWarning(report) : std::nullopt)
            return failedFor(*warning);
        if (!files_.finish())
            return failedFor(ZelFailure::last());
        return told();
    }

private:
    Outcome refused(const std::string& path, std::string why) const
    {
        (void)fail(ZelFailureCode::exists, "write", std::move(why), path);
        return failed(input_.name, path);
    }

    bool add(const std::string& path, const Data& bytes)
    {
        written_ += bytes.size();
        return files_.add(URL::file(path), bytes.span());
    }

    [[nodiscard]] Outcome failedFor(const ZelNote& reason) const
    {
        const bool isOfOneFile = reason.code == ZelFailureCode::writeFailed && !reason.subject.empty();
        auto outcome = failed(input_.name, isOfOneFile ? reason.subject : output_.path);
        outcome.failure = reason;
        return outcome;
    }

    [[nodiscard]] Outcome told() const
    {
        Outcome outcome;
        outcome.input = input_.name;
        outcome.output = output_.path;
        outcome.facts = std::make_shared<const Json>(Json{{"format", formatName(output_.format)},
                                                          {"tiles", wanted_},
                                                          {"rows", tiles_.tops.size()},
                                                          {"columns", tiles_.lefts.size()},
                                                          {"bytes", written_.load()}});
        if (options_.reports.verbose)
            outcome.line = fmt::format("{} -> {}: {} x {} tiles, {}", input_.name, output_.path, tiles_.lefts.size(),
                                       tiles_.tops.size(), byteText(written_));
        return outcome;
    }

    const PictureOptions& options_;
    const Input& input_;
    const OutputPlan::Output& output_;
    Ref<ZelImage> image_;
    const TilePlan& tiles_;
    Resolution resolution_;
    int together_;
    std::vector<std::string> names_; // row after row; empty ones are not written
    std::size_t wanted_ = 0;
    std::atomic<std::uint64_t> written_ = 0;
    AtomicWrites files_{{.createFolders = true}}; // all of them take their names together
};

int run(const Verb& verb, Words words)
{
    PictureOptions options;
    Cutting cutting;
    Arguments arguments(verb);
    cutting.declare(arguments);
    options.declare(arguments);
    if (!arguments.parse(words))
        return 0;
    cutting.check();

    options.reports.apply();
    const auto inputs = collectInputs(options.inputs);
    OutputPlan plan(options.outputs, inputs, options.encoding.format, {}, OutputPlan::Results::tiles);
    for (std::size_t i = 0; i < inputs.list.size(); ++i)
        options.encoding.check(plan.of(i).format);
    const int together = options.limits.apply(inputs.list.size());
    const int hands = filesAtOnce(options.limits, together);

    Reporter reporter(verb.name, options.reports, inputs.list.size());
    const auto work = [&](std::size_t index, const ZelReport& report) {
        const auto& input = inputs.list[index];
        const auto& output = plan.of(index);
        if (options.outputs.dryRun)
            return plannedOutcome(input.name, output.path, output.format);
        const auto image = openInput(input);
        const auto tiles = image ? planTiles(image->size, cutting.of(image->size)) : std::nullopt;
        if (!tiles)
            return failed(input.name, output.path);
        TilesOfOne one(options, input, output, image, *tiles, hands);
        if (auto refused = one.claimNames(plan, index))
            return *refused;
        return one.run(report);
    };
    runAll(inputs.list.size(), together, work, reporter);
    return reporter.finish(options.outputs.dryRun ? planText : Reporter::Text());
}

} // namespace

const Verb tilesVerb = {
    "tiles", "Each picture cut into tiles", "INPUT... -o FOLDER/ --tile WxH [flags]", examples, notes, run,
};

} // namespace zel::program
