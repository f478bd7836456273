#include <zel/platform/codecs/jpeg_lossless.h>

#include <zel/platform/codecs/codec.h>
#include <zel/platform/codecs/exif_edit.h>
#include <zel/platform/codecs/jpeg_coefficients.h>
#include <zel/platform/codecs/jpeg_resolution.h>
#include <zel/platform/codecs/jpeg_turn.h>
#include <zel/platform/foundation/notes.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <fmt/format.h>
#include <new>
#include <string_view>

// Coefficients are read, blocks moved and turned one by one, and coded again with the quantisers that they had. Blocks
// stay whole: an edge that cuts through one can be the last of a row or column, never the first.
namespace zel {
namespace {

constexpr std::string_view operation = "lossless";

struct Size {
    int width = 0, height = 0;
};

/// How the new picture lies in the old one. The area is one of stored pixels.
struct Plan {
    JpegTurn turn;
    JpegChange::Area area;
    Size unit;   ///< pixels of a coding unit, as stored
    Size result; ///< pixels
    bool isGrey = false;
    bool standsUpright = false; ///< in its file, whatever its orientation was
};

struct Segment {
    int marker = 0;
    std::vector<std::uint8_t> content;
};

bool beginsWith(std::span<const std::uint8_t> content, std::string_view name)
{
    return content.size() >= name.size() && std::memcmp(content.data(), name.data(), name.size()) == 0;
}

bool isExif(const Segment& segment)
{
    return segment.marker == JPEG_APP0 + 1 && beginsWith(segment.content, std::string_view("Exif\0\0", 6));
}

// The block that readers look at: the first one.
std::span<std::uint8_t> exifOf(std::vector<Segment>& segments)
{
    const auto found = std::find_if(segments.begin(), segments.end(), isExif);
    return found == segments.end() ? std::span<std::uint8_t>() : std::span<std::uint8_t>(found->content);
}

void warnOfResolution()
{
    warn(ZelFailureCode::unsupported, operation, "the file has no place for a resolution");
}

// Where an area of the upright picture lies in the stored one.
JpegChange::Area storedArea(JpegChange::Area area, const JpegTurn& upright, Size size)
{
    if (upright.mirrorX)
        area.x = size.width - area.x - area.width;
    if (upright.mirrorY)
        area.y = size.height - area.y - area.height;
    if (upright.transpose)
        return {area.y, area.x, area.height, area.width};
    return area;
}

bool holds(Size size, const JpegChange::Area& area)
{
    return area.x >= 0 && area.y >= 0 && area.width >= 1 && area.height >= 1 && area.x < size.width &&
           area.y < size.height && area.width <= size.width - area.x && area.height <= size.height - area.y;
}

bool planArea(const JpegChange& change, Orientation orientation, Size stored, Plan& plan)
{
    plan.area = {0, 0, stored.width, stored.height};
    if (!change.area)
        return true;
    const Size upright = swapsSides(orientation) ? Size{stored.height, stored.width} : stored;
    const JpegChange::Area& area = *change.area;
    if (!holds(upright, area))
        return fail(ZelFailureCode::invalidArgument, operation,
                    fmt::format("{} x {} pixels at {}, {} are outside the {} x {} of the picture", area.width,
                                area.height, area.x, area.y, upright.width, upright.height));
    plan.area = storedArea(area, turnOf(orientation), upright);
    const int overX = plan.area.x % plan.unit.width, overY = plan.area.y % plan.unit.height;
    if (overX == 0 && overY == 0)
        return true;
    return fail(ZelFailureCode::invalidArgument, operation,
                fmt::format("coded data can be cut between blocks of {} x {} pixels alone: the area begins {} pixels "
                            "right of one and {} below",
                            plan.unit.width, plan.unit.height, overX, overY));
}

bool planResult(bool trim, Plan& plan)
{
    const JpegTurn& turn = plan.turn;
    plan.result = {plan.area.width, plan.area.height};
    Size unit = plan.unit;
    if (turn.transpose) {
        std::swap(plan.result.width, plan.result.height);
        std::swap(unit.width, unit.height);
    }
    const int overX = turn.mirrorX ? plan.result.width % unit.width : 0;
    const int overY = turn.mirrorY ? plan.result.height % unit.height : 0;
    if (overX == 0 && overY == 0)
        return true;
    const Size trimmed{plan.result.width - overX, plan.result.height - overY};
    if (!trim || trimmed.width == 0 || trimmed.height == 0)
        return fail(
            ZelFailureCode::unsupported, operation,
            fmt::format("coded data turn in whole blocks of {} x {} pixels: {} columns and {} rows of the result "
                        "would be left over",
                        unit.width, unit.height, overX, overY));
    plan.result = trimmed;
    return true;
}

// Segments that libjpeg does not write itself. Further pictures behind the first one are not taken along, so their
// index is not either; JFIF's thumbnail shows the picture as it was.
std::vector<Segment> segmentsToKeep(const jpeg_decompress_struct& info, const Plan& plan)
{
    std::vector<Segment> kept;
    for (const auto* at = info.marker_list; at != nullptr; at = at->next) {
        const std::span<const std::uint8_t> content(at->data, at->data_length);
        const bool isWritten =
            (at->marker == JPEG_APP0 && (beginsWith(content, "JFIF") || beginsWith(content, "JFXX"))) ||
            (at->marker == JPEG_APP0 + 14 && beginsWith(content, "Adobe")) ||
            (at->marker == JPEG_APP0 + 2 && beginsWith(content, std::string_view("MPF\0", 4)));
        if (isWritten)
            continue;
        Segment& segment = kept.emplace_back();
        segment.marker = at->marker;
        segment.content.assign(content.begin(), content.end());
        if (isExif(segment))
            (void)editExif(segment.content, {.makeUpright = plan.standsUpright,
                                             .swapResolution = plan.turn.transpose,
                                             .width = static_cast<std::uint32_t>(plan.result.width),
                                             .height = static_cast<std::uint32_t>(plan.result.height),
                                             .clearThumbnail = true});
    }
    return kept;
}

/// Codes the planned picture.
class LosslessWriter {
public:
    LosslessWriter(JpegCoefficients& from, const Plan& plan) : from_(from), plan_(plan)
    {
        info_.err = prepareErrors(errors_);
        info_.client_data = &errors_;
        output_.self = this;
        output_.manager.init_destination = [](j_compress_ptr info) noexcept { of(info).restart(); };
        output_.manager.empty_output_buffer = [](j_compress_ptr info) noexcept -> boolean {
            of(info).take(bufferBytes);
            of(info).restart();
            return TRUE;
        };
        output_.manager.term_destination = [](j_compress_ptr info) noexcept {
            of(info).take(bufferBytes - info->dest->free_in_buffer);
        };
    }
    ~LosslessWriter() { jpeg_destroy_compress(&info_); }
    LosslessWriter(const LosslessWriter&) = delete;
    LosslessWriter& operator=(const LosslessWriter&) = delete;

    [[nodiscard]] bool write(const std::vector<Segment>& segments, std::optional<double> dpi)
    {
        return guarded(errors_, [this, &segments, &dpi] {
            jpeg_CreateCompress(&info_, JPEG_LIB_VERSION, sizeof info_);
            info_.dest = &output_.manager;
            describe();
            if (dpi) {
                info_.density_unit = 1; // dots an inch
                info_.X_density = info_.Y_density = jfifDensity(*dpi);
            }
            requestBlocks();
            jpeg_write_coefficients(&info_, blocks_.data());
            for (const Segment& segment : segments)
                jpeg_write_marker(&info_, segment.marker, segment.content.data(),
                                  static_cast<unsigned>(segment.content.size()));
            for (int component = 0; component < info_.num_components; ++component)
                fill(component);
            jpeg_finish_compress(&info_);
        });
    }
    [[nodiscard]] const JpegErrors& errors() const { return errors_; }
    [[nodiscard]] std::vector<std::uint8_t> takeBytes() { return std::move(bytes_); }

private:
    static constexpr std::size_t bufferBytes = 16 * 1024;
    struct Output {
        jpeg_destination_mgr manager{};
        LosslessWriter* self = nullptr;
    };
    static LosslessWriter& of(j_compress_ptr info) { return *reinterpret_cast<Output*>(info->dest)->self; }

    void restart() noexcept
    {
        output_.manager.next_output_byte = buffer_.data();
        output_.manager.free_in_buffer = buffer_.size();
    }
    void take(std::size_t count) noexcept
    {
        bool kept = true;
        try {
            bytes_.insert(bytes_.end(), buffer_.data(), buffer_.data() + count);
        } catch (const std::bad_alloc&) {
            kept = false;
        }
        if (!kept)
            abandon(errors_, ZelFailureCode::outOfMemory, "no memory for the changed file");
    }

    // Jumps may leave these functions: nothing in them has a destructor.
    void describe()
    {
        jpeg_decompress_struct& source = from_.decoder().info();
        jpeg_copy_critical_parameters(&source, &info_);
        info_.image_width = static_cast<JDIMENSION>(plan_.result.width);
        info_.image_height = static_cast<JDIMENSION>(plan_.result.height);
        info_.optimize_coding = TRUE;
        if (plan_.isGrey) // its factors say nothing
            info_.comp_info[0].h_samp_factor = info_.comp_info[0].v_samp_factor = 1;
        if (plan_.turn.transpose) {
            for (int component = 0; component < info_.num_components; ++component)
                std::swap(info_.comp_info[component].h_samp_factor, info_.comp_info[component].v_samp_factor);
            for (JQUANT_TBL* const table : info_.quant_tbl_ptrs)
                for (int v = 0; table != nullptr && v < DCTSIZE; ++v)
                    for (int u = 0; u < v; ++u)
                        std::swap(table->quantval[v * DCTSIZE + u], table->quantval[u * DCTSIZE + v]);
            std::swap(info_.X_density, info_.Y_density);
        }
        if (source.progressive_mode)
            jpeg_simple_progression(&info_);
    }

    [[nodiscard]] static JDIMENSION unitsIn(int pixels, int unit)
    {
        return static_cast<JDIMENSION>((pixels + unit - 1) / unit);
    }
    [[nodiscard]] Size resultUnit() const
    {
        return plan_.turn.transpose ? Size{plan_.unit.height, plan_.unit.width} : plan_.unit;
    }

    void requestBlocks()
    {
        const Size unit = resultUnit();
        for (int component = 0; component < info_.num_components; ++component) {
            const jpeg_component_info& facts = info_.comp_info[component];
            const auto across = static_cast<JDIMENSION>(facts.h_samp_factor);
            const auto down = static_cast<JDIMENSION>(facts.v_samp_factor);
            blocks_[static_cast<std::size_t>(component)] =
                info_.mem->request_virt_barray(reinterpret_cast<j_common_ptr>(&info_), JPOOL_IMAGE, TRUE,
                                               unitsIn(plan_.result.width, unit.width) * across,
                                               unitsIn(plan_.result.height, unit.height) * down, down);
        }
    }

    void fill(int component)
    {
        const jpeg_component_info& facts = info_.comp_info[component];
        const JpegTurn& turn = plan_.turn;
        const Size unit = resultUnit();
        // Of whole coding units; where a side is mirrored it has no other.
        const int wide = plan_.result.width / unit.width * facts.h_samp_factor;
        const int high = plan_.result.height / unit.height * facts.v_samp_factor;
        // Factors of the stored picture.
        const int across = turn.transpose ? facts.v_samp_factor : facts.h_samp_factor;
        const int down = turn.transpose ? facts.h_samp_factor : facts.v_samp_factor;
        const int firstX = plan_.area.x / plan_.unit.width * across, firstY = plan_.area.y / plan_.unit.height * down;
        for (int y = 0; y < static_cast<int>(facts.height_in_blocks); ++y) {
            JBLOCKROW const row = info_.mem->access_virt_barray(reinterpret_cast<j_common_ptr>(&info_),
                                                                blocks_[static_cast<std::size_t>(component)],
                                                                static_cast<JDIMENSION>(y), 1, TRUE)[0];
            const int turnedY = turn.mirrorY ? high - 1 - y : y;
            for (int x = 0; x < static_cast<int>(facts.width_in_blocks); ++x) {
                const int turnedX = turn.mirrorX ? wide - 1 - x : x;
                const JBLOCK* const source = from_.row(component, firstY + (turn.transpose ? turnedX : turnedY));
                turnBlock(source[firstX + (turn.transpose ? turnedY : turnedX)], turn, row[x]);
            }
        }
    }

    JpegCoefficients& from_;
    const Plan& plan_;
    jpeg_compress_struct info_{};
    JpegErrors errors_{};
    Output output_;
    std::array<JOCTET, bufferBytes> buffer_{};
    std::vector<std::uint8_t> bytes_;
    std::array<jvirt_barray_ptr, MAX_COMPONENTS> blocks_{};
};

Absent failFrom(const JpegErrors& errors)
{
    if (errors.code == ZelFailureCode::cancelled) // noted already
        return {};
    return fail(errors.code, operation, errors.message);
}

std::optional<Data> rewritten(const ByteSource& source, const JpegChange& change, Orientation orientation)
{
    JpegCoefficients coefficients(source);
    const JpegDecoder& decoder = coefficients.decoder();
    if (!coefficients.readHeader(JpegDecoder::Segments::kept))
        return failFrom(decoder.errors());
    const jpeg_decompress_struct& info = decoder.info();
    Plan plan;
    plan.isGrey = info.num_components == 1;
    plan.unit =
        plan.isGrey ? Size{DCTSIZE, DCTSIZE} : Size{info.max_h_samp_factor * DCTSIZE, info.max_v_samp_factor * DCTSIZE};
    const Size stored{static_cast<int>(info.image_width), static_cast<int>(info.image_height)};
    if (!planArea(change, orientation, stored, plan))
        return std::nullopt;
    JpegTurn wanted = quarterTurns(change.quarterTurns);
    if (change.mirror)
        wanted = joined(wanted, {.mirrorX = true});
    plan.standsUpright = !wanted.isNone(); // else the orientation stays as it is stored
    if (plan.standsUpright)
        plan.turn = joined(turnOf(orientation), wanted);
    if (!planResult(change.trim, plan))
        return std::nullopt;

    if (!coefficients.read())
        return failFrom(decoder.errors());
    if (decoder.isCutShort())
        return fail(ZelFailureCode::truncated, operation, "the data ends early: only its pixels can be saved");
    if (decoder.errors().warnings > 0)
        warn(ZelFailureCode::unreadable, operation, fmt::format("damaged data: {}", decoder.errors().firstWarning));
    LosslessWriter writer(coefficients, plan);
    std::vector<Segment> segments = segmentsToKeep(info, plan);
    if (change.dpi && !recordInExif(exifOf(segments), *change.dpi, canHoldJfif(info)))
        warnOfResolution();
    if (!writer.write(segments, change.dpi))
        return failFrom(writer.errors());
    return Data(writer.takeBytes());
}

std::optional<Data> sameData(const ByteSource& source, std::optional<double> dpi)
{
    if (!dpi) {
        std::vector<std::uint8_t> file(source.size());
        if (source.read(0, file) != file.size())
            return fail(ZelFailureCode::truncated, operation, "the file was cut while it was read");
        return Data(std::move(file));
    }
    bool recorded = false;
    auto file = withResolution(source, *dpi, recorded);
    if (!file)
        return std::nullopt;
    if (!recorded)
        warnOfResolution();
    return file;
}

} // namespace

std::optional<Data> changeJpeg(const Ref<const ByteSource>& source, const JpegChange& change)
{
    if (!source)
        return failAbsentInput(operation);
    const SubjectScope subject(source->subject());
    const Ref<const PixelProvider> picture = openPicture(source);
    if (!picture)
        return std::nullopt;
    if (picture->facts().format != jpegCodec.name)
        return fail(ZelFailureCode::unsupported, operation,
                    fmt::format("it is no JPEG but {}: its pixels have to be coded anew", picture->facts().format));
    try {
        if (change.area || change.quarterTurns % 4 != 0 || change.mirror)
            return rewritten(*source, change, picture->facts().orientation);
        return sameData(*source, change.dpi);
    } catch (const std::bad_alloc&) {
        return fail(ZelFailureCode::outOfMemory, operation, "no memory for the changed file");
    }
}

} // namespace zel
