#include <zel/platform/codecs/jpeg_strips.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <new>

// libjpeg codes each strip as a picture of its own, without tables. Its header is dropped and its end stands for the
// marker between two strips, so that they can stand behind one another under one header.
namespace zel {
namespace {

constexpr std::int64_t wholePixels = 1 << 20; // pictures below are not cut
constexpr std::int64_t stripPixels = 1 << 18; // enough work for a thread, few enough for the caches
constexpr int stripStep = 16;                 // whole coding units at every sampling
constexpr std::size_t bufferBytes = 16 * 1024;

// Start of image, frame and scan headers of so many components.
std::size_t headerBytes(int components)
{
    const auto count = static_cast<std::size_t>(components);
    return 2 + (10 + 3 * count) + (8 + 2 * count);
}

void takeOver(const JpegHuffmanTable& table, JHUFF_TBL& into)
{
    std::copy(table.codes.begin(), table.codes.end(), into.bits);
    std::copy(table.symbols.begin(), table.symbols.end(), into.huffval);
}

} // namespace

JpegCut cutIntoStrips(int width, int height)
{
    const std::int64_t pixels = static_cast<std::int64_t>(width) * height;
    if (pixels < wholePixels)
        return {(height + stripStep - 1) / stripStep * stripStep, 1};
    const auto rows = static_cast<int>(std::max<std::int64_t>(1, stripPixels / width / stripStep) * stripStep);
    return {rows, (height + rows - 1) / rows};
}

int restartInterval(const JpegCut& cut, int width, JpegSampling sampling)
{
    if (cut.strips < 2)
        return 0;
    const int unit = unitSide(sampling);
    return (width + unit - 1) / unit * (cut.rowsPerStrip / unit);
}

// Takes what libjpeg writes: drops the header, keeps or counts the rest.
struct JpegStripCoder::Output {
    jpeg_destination_mgr manager{};
    std::array<JOCTET, bufferBytes> buffer{};
    JpegErrors& errors;
    std::size_t toDrop = 0;
    std::vector<std::uint8_t>* bytes = nullptr; // null: count
    std::atomic<std::uint64_t>* total = nullptr;
    std::uint64_t limit = 0;

    explicit Output(JpegErrors& failures) : errors(failures)
    {
        manager.init_destination = [](j_compress_ptr info) noexcept { of(info).restart(); };
        manager.empty_output_buffer = [](j_compress_ptr info) noexcept -> boolean {
            of(info).take(bufferBytes);
            of(info).restart();
            return TRUE;
        };
        manager.term_destination = [](j_compress_ptr info) noexcept {
            of(info).take(bufferBytes - info->dest->free_in_buffer);
        };
    }
    static Output& of(j_compress_ptr info) { return *reinterpret_cast<Output*>(info->dest); }

    void restart() noexcept
    {
        manager.next_output_byte = buffer.data();
        manager.free_in_buffer = buffer.size();
    }
    void take(std::size_t count) noexcept
    {
        const std::size_t dropped = std::min(toDrop, count);
        toDrop -= dropped;
        if (bytes != nullptr) {
            bool kept = true;
            try {
                bytes->insert(bytes->end(), buffer.data() + dropped, buffer.data() + count);
            } catch (const std::bad_alloc&) {
                kept = false;
            }
            if (!kept)
                abandon(errors, ZelFailureCode::outOfMemory, "no memory for the encoded picture");
            return;
        }
        const std::uint64_t now = total->fetch_add(count - dropped, std::memory_order_relaxed) + count - dropped;
        if (limit != 0 && now > limit)
            abandon(errors, ZelFailureCode::none, "over the limit");
    }
};

JpegStripCoder::JpegStripCoder(int width, JpegSampling sampling, const JpegQuantizers& quantizers,
                               const JpegHuffmanTables* tables)
    : output_(std::make_unique<Output>(errors_)), width_(width), sampling_(sampling)
{
    info_.err = prepareErrors(errors_);
    info_.client_data = &errors_;
    // A failure here shows again in the first call of `code`, which finds nothing prepared.
    (void)guarded(errors_, [this, &quantizers, tables] {
        jpeg_CreateCompress(&info_, JPEG_LIB_VERSION, sizeof info_);
        info_.dest = &output_->manager;
        info_.input_components = componentsOf(sampling_);
        info_.in_color_space = sampling_ == JpegSampling::grey ? JCS_GRAYSCALE : JCS_YCbCr;
        jpeg_set_defaults(&info_);
        for (int table = 0; table < 2; ++table) {
            std::array<unsigned, 64> values;
            std::copy(quantizers[static_cast<std::size_t>(table)].begin(),
                      quantizers[static_cast<std::size_t>(table)].end(), values.begin());
            jpeg_add_quant_table(&info_, table, values.data(), 100, TRUE);
            if (tables == nullptr)
                continue;
            takeOver(tables->dc[static_cast<std::size_t>(table)], *info_.dc_huff_tbl_ptrs[table]);
            takeOver(tables->ac[static_cast<std::size_t>(table)], *info_.ac_huff_tbl_ptrs[table]);
        }
        const int share = sampling_ == JpegSampling::half ? 2 : 1;
        info_.comp_info[0].h_samp_factor = share;
        info_.comp_info[0].v_samp_factor = share;
        info_.dct_method = JDCT_ISLOW;
        info_.write_JFIF_header = FALSE;
        info_.write_Adobe_marker = FALSE;
        info_.raw_data_in = TRUE;
    });
}

JpegStripCoder::~JpegStripCoder()
{
    jpeg_destroy_compress(&info_);
}

bool JpegStripCoder::encode(JpegStripSource from, int firstRow, int rows, std::vector<std::uint8_t>& bytes)
{
    output_->bytes = &bytes;
    return code(from, firstRow, rows);
}

bool JpegStripCoder::count(JpegStripSource from, int firstRow, int rows, std::atomic<std::uint64_t>& total,
                           std::uint64_t limit)
{
    output_->bytes = nullptr;
    output_->total = &total;
    output_->limit = limit;
    return code(from, firstRow, rows) || errors_.code == ZelFailureCode::none;
}

bool JpegStripCoder::code(JpegStripSource from, int firstRow, int rows)
{
    if (!isReady())
        return false;
    output_->toDrop = headerBytes(componentsOf(sampling_));
    const bool done = guarded(errors_, [this, from, firstRow, rows] {
        info_.image_width = static_cast<JDIMENSION>(width_);
        info_.image_height = static_cast<JDIMENSION>(rows);
        if (from.coefficients != nullptr)
            putCoefficients(*from.coefficients, firstRow);
        else
            putSamples(*from.planes, firstRow, rows);
        jpeg_finish_compress(&info_);
    });
    if (!done)
        jpeg_abort_compress(&info_);
    return done;
}

// Jumps may leave these two functions: nothing in them has a destructor.
void JpegStripCoder::putSamples(const JpegPlanes& planes, int firstRow, int rows)
{
    jpeg_suppress_tables(&info_, TRUE);
    jpeg_start_compress(&info_, FALSE);
    const int unit = unitSide(sampling_);
    constexpr int mostRows = 16;
    std::array<std::array<JSAMPROW, mostRows>, 3> samples;
    std::array<JSAMPARRAY, 3> arrays{samples[0].data(), samples[1].data(), samples[2].data()};
    for (int row = firstRow; row < firstRow + rows; row += unit) {
        for (int component = 0; component < componentsOf(sampling_); ++component) {
            const int share = sampling_ == JpegSampling::half && component > 0 ? 2 : 1;
            for (int line = 0; line < unit / share; ++line)
                arrays[static_cast<std::size_t>(component)][line] = planes.plane(component).row(row / share + line);
        }
        jpeg_write_raw_data(&info_, arrays.data(), static_cast<JDIMENSION>(unit));
    }
}

// libjpeg wants its own arrays. They have whole coding units, but it reads only the blocks that the picture has.
void JpegStripCoder::putCoefficients(const JpegRequantizer& coefficients, int firstRow)
{
    constexpr JDIMENSION blockSide = DCTSIZE;
    const auto blocksOf = [](JDIMENSION pixels, JDIMENSION share) {
        return (pixels + blockSide * share - 1) / (blockSide * share);
    };
    auto* const common = reinterpret_cast<j_common_ptr>(&info_);
    std::array<JDIMENSION, 3> heights{};
    for (int component = 0; component < componentsOf(sampling_); ++component) {
        const auto index = static_cast<std::size_t>(component);
        const auto factor = static_cast<JDIMENSION>(info_.comp_info[component].h_samp_factor);
        const JDIMENSION share = sampling_ == JpegSampling::half && component > 0 ? 2 : 1;
        const auto wholeUnits = [factor](JDIMENSION blocks) { return (blocks + factor - 1) / factor * factor; };
        heights[index] = wholeUnits(blocksOf(info_.image_height, share));
        arrays_[index] = info_.mem->request_virt_barray(
            common, JPOOL_IMAGE, FALSE, wholeUnits(blocksOf(info_.image_width, share)), heights[index], heights[index]);
    }
    jpeg_write_coefficients(&info_, arrays_.data());
    jpeg_suppress_tables(&info_, TRUE); // which that call had turned round
    for (int component = 0; component < componentsOf(sampling_); ++component) {
        const auto index = static_cast<std::size_t>(component);
        const jpeg_component_info& facts = info_.comp_info[component];
        JBLOCKARRAY const rows = info_.mem->access_virt_barray(common, arrays_[index], 0, heights[index], TRUE);
        const int share = sampling_ == JpegSampling::half && component > 0 ? 2 : 1;
        const int first = firstRow / DCTSIZE / share;
        for (int y = 0; y < static_cast<int>(facts.height_in_blocks); ++y)
            coefficients.row(component, first + y, rows[y], facts.width_in_blocks);
    }
}

} // namespace zel
