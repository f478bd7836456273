#include "batch.h"
#include "interrupt.h"
#include "output_plan.h"
#include "page_list.h"
#include "pictures.h"
#include "quantity.h"

#include <zel/platform/documents/document.h>
#include <zel/platform/foundation/atomic_write.h>
#include <zel/platform/foundation/guards.h>
#include <zel/platform/foundation/notes.h>
#include <zel/platform/foundation/number_text.h>

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <algorithm>
#include <limits>

namespace zel::program {
namespace {

using Json = nlohmann::ordered_json;

constexpr std::string_view examples = R"(Examples:
  zel render book.pdf -o pages/ --dpi 144
  zel render book.pdf -o 'pages/{stem}-{page:03}.jpg' --pages 1-3,7
  zel render drawing.svg -o drawing.png --scale 2
  zel render form.pdf -o form.png --pages 1 --paper transparent
)";

constexpr std::string_view notes =
    R"(Pages count from 1, and measure as displayed. They lie on white paper, drawings on none,
unless --paper tells. A point is 1/72 inch; a drawing's unit counts as a point. Two pages
render while one is written, and no more are in memory.
)";

constexpr double pointsAnInch = 72;
constexpr double usualDpi = 144; // of pages; drawings have a pixel a point

/// Which pages become which pixels.
struct Rendering {
    std::optional<double> scale;
    std::optional<PageList> pages;
    std::optional<ZelColor> paper;

    void declare(Arguments& arguments);
    /// Pixels a point.
    [[nodiscard]] double factorOf(Document::Kind kind, std::optional<double> dpi) const
    {
        if (scale)
            return *scale;
        return dpi.value_or(kind == Document::Kind::pdf ? usualDpi : pointsAnInch) / pointsAnInch;
    }
    [[nodiscard]] Document::Expecting expecting() const
    {
        const bool isOne = pages && pages->ranges.size() == 1 && pages->ranges[0].first == pages->ranges[0].second;
        return isOne ? Document::Expecting::onePage : Document::Expecting::severalPages;
    }
    /// Absent: none.
    [[nodiscard]] std::optional<Document::Paper> paperOf(Document::Kind kind) const;
};

void Rendering::declare(Arguments& arguments)
{
    constexpr double most = 1000;
    arguments.section("Pages");
    arguments.value("--pages", "LIST", pages, readPages, "such as 1-3,7; those from 5 on: 5- (all)");
    arguments.value(
        "--scale", "N", scale, [](std::string_view text) { return readNumber(text, 0.001, most); },
        "pixels a point, in place of --dpi");
    arguments.value("--paper", "COLOR", paper, readColor, "what shows behind a page; transparent: nothing");
}

std::optional<Document::Paper> Rendering::paperOf(Document::Kind kind) const
{
    if (!paper)
        return kind == Document::Kind::pdf ? std::optional(Document::Paper{255, 255, 255}) : std::nullopt;
    if (!(paper->alpha > 0))
        return std::nullopt;
    const auto byte = [](double component) {
        return static_cast<std::uint8_t>(std::clamp<std::int64_t>(truncated(component * 255 + 0.5), 0, 255));
    };
    return Document::Paper{byte(paper->red), byte(paper->green), byte(paper->blue)};
}

int side(double pixels)
{
    return static_cast<int>(std::clamp<std::int64_t>(truncated(pixels), 1, std::numeric_limits<int>::max()));
}

Ref<const ByteSource> sourceOf(const Input& input)
{
    if (input.failure)
        return fail(input.failure->code, input.failure->operation, input.failure->message, input.failure->subject);
    return input.bytes ? ByteSource::of(*input.bytes, input.name) : ByteSource::openWhole(URL::file(input.name));
}

/// The pages of one document, each from the renderer to its file.
class PagesOfOne {
public:
    PagesOfOne(const PictureOptions& options, const Rendering& rendering, const Input& input,
               const OutputPlan::Output& output)
        : options_(options), rendering_(rendering), input_(input), output_(output)
    {
    }

    Outcome run(OutputPlan& plan, std::size_t index, const ZelReport& report)
    {
        if (!open() || !claimNames(plan, index) || !writePages())
            return failedOf(ZelFailure::last());
        if (const auto warning = options_.reports.strict ? firstWarning(report) : std::nullopt)
            return failedOf(*warning);
        return told();
    }

private:
    struct Page {
        int number; // from 0
        int width, height;
        std::string path; // empty: stays as it is
    };

    Document::Expecting expected(Document::Kind kind) const
    {
        return kind == Document::Kind::svg ? Document::Expecting::onePage : rendering_.expecting();
    }

    bool open()
    {
        const auto source = sourceOf(input_);
        const auto kind = source ? Document::kindOf(*source) : std::nullopt;
        if (source && !kind)
            return fail(ZelFailureCode::notAnImage, "render", "this is neither a PDF document nor an SVG drawing");
        document_ = source ? Document::open(source, *kind, expected(*kind)) : nullptr;
        if (!document_)
            return false;
        factor_ = rendering_.factorOf(*kind, options_.encoding.dpi);
        paper_ = rendering_.paperOf(*kind);
        return true;
    }

    /// Sizes too: names may hold them.
    bool claimNames(OutputPlan& plan, std::size_t index)
    {
        const int count = document_->pageCount();
        const auto numbers = (rendering_.pages ? *rendering_.pages : PageList{}).of(count);
        if (!numbers)
            return fail(ZelFailureCode::invalidArgument, "render",
                        fmt::format("--pages: the document has {} {}", count, count == 1 ? "page" : "pages"));
        for (const int number : *numbers) {
            const auto points = document_->pageSize(number);
            if (!points)
                return false;
            Page page{number, side(points->width * factor_), side(points->height * factor_), {}};
            const OutputPlan::Page named{static_cast<std::size_t>(number) + 1, static_cast<std::size_t>(count),
                                         page.width, page.height};
            auto [path, isFree] = plan.claim(index, named);
            if (!isFree && !pages_.empty() && pages_.back().path == path)
                return fail(ZelFailureCode::invalidArgument, "render",
                            fmt::format("{} pages would have one name (hint: -o 'FOLDER/{{stem}}-{{page}}.{{ext}}')",
                                        numbers->size()));
            if (!isFree)
                return fail(ZelFailureCode::exists, "write", "another picture of this run has this name", path);
            if (!output_.mayReplace && standsThere(path)) {
                if (!options_.outputs.skipExisting)
                    return fail(ZelFailureCode::exists, "write", std::string(existsAlready), path);
                path.clear();
            }
            pages_.push_back(std::move(page));
            pages_.back().path = std::move(path);
        }
        pages_.erase(std::remove_if(pages_.begin(), pages_.end(), [](const Page& page) { return page.path.empty(); }),
                     pages_.end());
        return true;
    }

    bool writePages()
    {
        const Resolution resolution{factor_ * pointsAnInch, factor_ * pointsAnInch};
        const auto begin = [&](std::size_t i) {
            if (i < pages_.size())
                document_->renderAhead(pages_[i].number, pages_[i].width, pages_[i].height, paper_);
        };
        for (std::size_t i = 0; i < pages_.size(); ++i) {
            if (interrupted())
                return fail(ZelFailureCode::cancelled, "render", "rendering was stopped");
            for (std::size_t next = i; next < i + Document::pagesAhead; ++next)
                begin(next);
            const auto& page = pages_[i];
            const auto rendered = document_->render(page.number, page.width, page.height, paper_);
            if (!rendered)
                return false;
            begin(i + Document::pagesAhead);
            if (i + 1 == pages_.size())
                document_->rest(); // beside the encoding
            const auto bytes = encodePicture(makeZelImage(rendered), output_.format, options_.encoding, resolution);
            if (!bytes || !writeAtomically(URL::file(page.path), bytes->span(), {.createFolders = true}))
                return false;
            written_ += bytes->size();
        }
        return true;
    }

    [[nodiscard]] Outcome failedOf(const ZelNote& reason) const
    {
        const bool isOfOneFile = reason.code == ZelFailureCode::writeFailed || reason.code == ZelFailureCode::exists;
        auto outcome = failed(input_.name, isOfOneFile && !reason.subject.empty() ? reason.subject : output_.path);
        outcome.failure = reason;
        return outcome;
    }

    [[nodiscard]] Outcome told() const
    {
        Outcome outcome;
        outcome.state = pages_.empty() ? Outcome::State::skipped : Outcome::State::done;
        outcome.input = input_.name;
        outcome.output = pages_.size() == 1 ? pages_[0].path : output_.path;
        outcome.facts = std::make_shared<const Json>(
            Json{{"format", formatName(output_.format)}, {"pages", pages_.size()}, {"bytes", written_}});
        if (options_.reports.verbose)
            outcome.line = fmt::format("{} -> {}: {} {}, {}", input_.name, outcome.output, pages_.size(),
                                       pages_.size() == 1 ? "page" : "pages", byteText(written_));
        return outcome;
    }

    const PictureOptions& options_;
    const Rendering& rendering_;
    const Input& input_;
    const OutputPlan::Output& output_;
    Ref<Document> document_;
    double factor_ = 1;
    std::optional<Document::Paper> paper_;
    std::vector<Page> pages_;
    std::uint64_t written_ = 0;
};

int run(const Verb& verb, Words words)
{
    PictureOptions options;
    Rendering rendering;
    Arguments arguments(verb);
    rendering.declare(arguments);
    options.declare(arguments);
    if (!arguments.parse(words))
        return 0;
    if (rendering.scale && options.encoding.dpi)
        throw UsageError("--scale and --dpi exclude each other");

    options.reports.apply();
    const auto inputs = collectInputs(options.inputs);
    OutputPlan plan(options.outputs, inputs, options.encoding.format, {}, OutputPlan::Results::pages);
    for (std::size_t i = 0; i < inputs.list.size(); ++i)
        options.encoding.check(plan.of(i).format);
    const int together = options.limits.apply(inputs.list.size());

    Reporter reporter(verb.name, options.reports, inputs.list.size());
    const auto work = [&](std::size_t index, const ZelReport& report) {
        const auto& input = inputs.list[index];
        const auto& output = plan.of(index);
        if (options.outputs.dryRun)
            return plannedOutcome(input.name, output.path, output.format);
        return PagesOfOne(options, rendering, input, output).run(plan, index, report);
    };
    runAll(inputs.list.size(), together, work, reporter);
    return reporter.finish(options.outputs.dryRun ? planText : Reporter::Text());
}

} // namespace

const Verb renderVerb = {
    "render", "Pages of PDF documents, and vector drawings", "INPUT... -o FOLDER/ [flags]", examples, notes, run,
};

} // namespace zel::program
