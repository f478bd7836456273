#include "document.h"

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

class SvgDocument : public Document {
public:
    explicit SvgDocument(std::span<const std::uint8_t> bytes)
    {
        const std::unique_ptr<GInputStream, Unref> stream(
            g_memory_input_stream_new_from_data(bytes.data(), static_cast<gssize>(bytes.size()), nullptr));
        handle_.reset(
            rsvg_handle_new_from_stream_sync(stream.get(), nullptr, RSVG_HANDLE_FLAGS_NONE, nullptr, nullptr));
        if (handle_) {
            rsvg_handle_set_dpi(handle_.get(), 96);
            measure();
        }
    }

    bool isOpen() const { return handle_ && size_.width > 0 && size_.height > 0; }
    int pages() const override { return 1; }
    std::optional<PointSize> size(int page) override { return page == 0 ? std::optional(size_) : std::nullopt; }

    bool render(int page, int width, int height, std::span<std::uint8_t> rows) override
    {
        if (page != 0)
            return false;
        std::fill(rows.begin(), rows.end(), std::uint8_t{0});
        cairo_surface_t* surface =
            cairo_image_surface_create_for_data(rows.data(), CAIRO_FORMAT_ARGB32, width, height, width * 4);
        cairo_t* context = cairo_create(surface);
        cairo_scale(context, width / size_.width, height / size_.height);
        const RsvgRectangle all{0, 0, size_.width, size_.height};
        const bool rendered = cairo_status(context) == CAIRO_STATUS_SUCCESS &&
                              rsvg_handle_render_document(handle_.get(), context, &all, nullptr) != FALSE;
        cairo_destroy(context);
        cairo_surface_finish(surface);
        cairo_surface_destroy(surface);
        // Stored blue, green, red, alpha on the machines that we know.
        for (std::size_t at = 0; at + 4 <= rows.size(); at += 4)
            std::swap(rows[at], rows[at + 2]);
        return rendered;
    }

private:
    /// Its own width and height, else those of its view box, else what it draws.
    void measure()
    {
        gdouble width = 0, height = 0;
        if (rsvg_handle_get_intrinsic_size_in_pixels(handle_.get(), &width, &height) != FALSE && width > 0 &&
            height > 0) {
            size_ = {width, height};
            return;
        }
        gboolean hasWidth = FALSE, hasHeight = FALSE, hasBox = FALSE;
        RsvgLength ignored{};
        RsvgRectangle box{};
        rsvg_handle_get_intrinsic_dimensions(handle_.get(), &hasWidth, &ignored, &hasHeight, &ignored, &hasBox, &box);
        if (hasBox != FALSE) {
            size_ = {box.width, box.height};
            return;
        }
        RsvgRectangle ink{};
        if (rsvg_handle_get_geometry_for_element(handle_.get(), nullptr, &ink, nullptr, nullptr) != FALSE)
            size_ = {ink.x + ink.width, ink.y + ink.height};
    }

    Handle handle_;
    PointSize size_;
};

// Has a text and a picture, so that fonts, loaders and threads are there before files are out of reach.
constexpr char sample[] =
    "<svg xmlns='http://www.w3.org/2000/svg' xmlns:xlink='http://www.w3.org/1999/xlink' width='8' height='8'>"
    "<text y='8'>a</text></svg>";

} // namespace

void prepareSvg()
{
    g_slist_free(gdk_pixbuf_get_formats());
    const std::span bytes(reinterpret_cast<const std::uint8_t*>(sample), sizeof sample - 1);
    SvgDocument document(bytes);
    std::uint8_t rows[8 * 8 * 4] = {};
    if (document.isOpen())
        document.render(0, 8, 8, rows);
}

Opened openSvg(std::span<const std::uint8_t> bytes)
{
    auto document = std::make_unique<SvgDocument>(bytes);
    if (!document->isOpen())
        return {nullptr, Status::notADocument};
    return {std::move(document), Status::done};
}

} // namespace zel::documents
