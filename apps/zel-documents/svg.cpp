#include "document.h"
#include "rows.h"

#include <algorithm>
#include <cairo.h>
#include <cmath>
#include <gdk-pixbuf/gdk-pixbuf.h>
#include <librsvg/rsvg.h>
#include <pango/pangocairo.h>

// Drawings measure one point a user unit. They get no base address, so that nothing outside their bytes is ever read.
namespace zel::documents {
namespace {

struct Unref {
    void operator()(void* object) const { g_object_unref(object); }
};
using Handle = std::unique_ptr<RsvgHandle, Unref>;

struct Destroy {
    void operator()(cairo_surface_t* surface) const { cairo_surface_destroy(surface); }
};

constexpr double unitsAnInch = 96; // of CSS

/// Lengths come with what single precision left of them: 25.4 mm are 96 units.
double settled(double units)
{
    constexpr double places = 1e4;
    return std::round(units * places) / places;
}

/// 0 for what depends on something else: percentages, the font.
double unitsOf(const RsvgLength& length)
{
    switch (length.unit) {
    case RSVG_UNIT_PX:
        return length.length;
    case RSVG_UNIT_IN:
        return length.length * unitsAnInch;
    case RSVG_UNIT_CM:
        return length.length * unitsAnInch / 2.54;
    case RSVG_UNIT_MM:
        return length.length * unitsAnInch / 25.4;
    case RSVG_UNIT_PT:
        return length.length * unitsAnInch / 72;
    case RSVG_UNIT_PC:
        return length.length * unitsAnInch / 6;
    default:
        return 0;
    }
}

class SvgDocument : public Document {
public:
    explicit SvgDocument(std::span<const std::uint8_t> bytes)
    {
        const std::unique_ptr<GInputStream, Unref> stream(
            g_memory_input_stream_new_from_data(bytes.data(), static_cast<gssize>(bytes.size()), nullptr));
        handle_.reset(
            rsvg_handle_new_from_stream_sync(stream.get(), nullptr, RSVG_HANDLE_FLAGS_NONE, nullptr, nullptr));
        if (handle_) {
            rsvg_handle_set_dpi(handle_.get(), unitsAnInch);
            measure();
        }
    }

    bool isOpen() const { return handle_ && size_.width > 0 && size_.height > 0; }
    int pages() const override { return 1; }
    std::optional<PointSize> size(int page) override { return page == 0 ? std::optional(size_) : std::nullopt; }

    bool render(int page, int width, int height) override
    {
        drawn_.reset();
        if (page != 0)
            return false;
        drawn_.reset(cairo_image_surface_create(CAIRO_FORMAT_ARGB32, width, height));
        cairo_t* context = cairo_create(drawn_.get());
        cairo_scale(context, width / size_.width, height / size_.height);
        const RsvgRectangle all{0, 0, size_.width, size_.height};
        const bool rendered = cairo_status(context) == CAIRO_STATUS_SUCCESS &&
                              rsvg_handle_render_document(handle_.get(), context, &all, nullptr) != FALSE;
        cairo_destroy(context);
        cairo_surface_flush(drawn_.get());
        return rendered;
    }

    void copyRow(int y, Paper paper, std::uint8_t* to) const override
    {
        const int width = cairo_image_surface_get_width(drawn_.get());
        const auto stride = static_cast<std::size_t>(cairo_image_surface_get_stride(drawn_.get()));
        const std::uint8_t* const row =
            cairo_image_surface_get_data(drawn_.get()) + static_cast<std::size_t>(y) * stride;
        const std::size_t bytes = 4 * static_cast<std::size_t>(width);
        std::copy(row, row + bytes, to);
        // Stored blue, green, red, alpha on the machines that we know.
        for (std::size_t at = 0; at < bytes; at += 4)
            std::swap(to[at], to[at + 2]);
        layRow(to, width, paper);
    }

private:
    /// Its own width and height; one alone has the other follow from the view box; else the view box; else what it
    /// draws.
    void measure()
    {
        gdouble width = 0, height = 0;
        if (rsvg_handle_get_intrinsic_size_in_pixels(handle_.get(), &width, &height) != FALSE && width > 0 &&
            height > 0) {
            size_ = {settled(width), settled(height)};
            return;
        }
        gboolean hasWidth = FALSE, hasHeight = FALSE, hasBox = FALSE;
        RsvgLength givenWidth{}, givenHeight{};
        RsvgRectangle box{};
        rsvg_handle_get_intrinsic_dimensions(handle_.get(), &hasWidth, &givenWidth, &hasHeight, &givenHeight, &hasBox,
                                             &box);
        if (hasBox != FALSE && box.width > 0 && box.height > 0) {
            const double wide = hasWidth != FALSE ? unitsOf(givenWidth) : 0;
            const double high = hasHeight != FALSE ? unitsOf(givenHeight) : 0;
            size_ = wide > 0   ? PointSize{wide, wide * box.height / box.width}
                    : high > 0 ? PointSize{high * box.width / box.height, high}
                               : PointSize{box.width, box.height};
            return;
        }
        RsvgRectangle ink{};
        if (rsvg_handle_get_geometry_for_element(handle_.get(), nullptr, &ink, nullptr, nullptr) != FALSE)
            size_ = {ink.x + ink.width, ink.y + ink.height};
    }

    Handle handle_;
    PointSize size_;
    std::unique_ptr<cairo_surface_t, Destroy> drawn_;
};

// Has a text and a picture, so that fonts, loaders and threads are there before files are out of reach.
constexpr char sample[] =
    "<svg xmlns='http://www.w3.org/2000/svg' xmlns:xlink='http://www.w3.org/1999/xlink' width='8' height='8'>"
    "<text y='8'>a</text></svg>";

} // namespace

void prepare()
{
    g_slist_free(gdk_pixbuf_get_formats());
    const std::span bytes(reinterpret_cast<const std::uint8_t*>(sample), sizeof sample - 1);
    SvgDocument document(bytes);
    if (document.isOpen())
        document.render(0, 8, 8);
}

Opened openDocument(std::span<const std::uint8_t> bytes)
{
    auto document = std::make_unique<SvgDocument>(bytes);
    if (!document->isOpen())
        return {nullptr, Status::notADocument};
    return {std::move(document), Status::done};
}

} // namespace zel::documents
