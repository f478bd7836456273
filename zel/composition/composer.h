#pragma once
#include <zel/export.h>
#include <zel/platform/foundation/coding.h>
#include <zel/platform/foundation/geometry.h>
#include <zel/platform/foundation/url.h>
#include <zel/platform/graphics/color.h>

namespace zel {

/// A document of layers over a background, with guides to snap to. The library keeps, codes and edits it; hosts draw
/// it. Lengths and positions are in widths of the composition, the origin is its centre: it reaches from -0.5 to 0.5
/// across, and from -0.5 ÷ ratio to 0.5 ÷ ratio.
///
/// JSON: objects whose keys are the fields, in their order; enumerations as raw values, points as [x, y]; optional
/// fields where they are set. Reading is strict (ZelDecodingError), except in `Text` and `Guide`: a key of theirs that
/// is missing or cannot be read is replaced without a word.
struct ZEL_API ZelComposer {
    struct SearchAndReplace {
        std::string search, replace;
    };

    /// JSON (lenient): a fresh identifier, horizontal, 0, false.
    struct Guide {
        enum class Orientation {
            horizontal, ///< a line of constant y
            vertical,   ///< a line of constant x
        };
        std::string id;
        Orientation orientation = Orientation::horizontal;
        double location = 0;    ///< its y, or x
        bool intrinsic = false; ///< centre, edge or margin of the composition itself
    };

    /// Has all three payloads at all times; `layerType` says which one is shown.
    struct ZEL_API Layer {
        enum class LayerType { image, text, shape };

        struct Image {
            enum class ImageType { url, shareApp, ingested };
            /// `type` says which of them is meant.
            struct ResourceAccess {
                std::optional<URL> url = {};
                std::optional<std::string> shareAppId = {};
                std::optional<std::string> ingestedId = {};
                friend bool operator==(const ResourceAccess&, const ResourceAccess&) = default;
            };
            ImageType type = ImageType::shareApp;
            double ratio = 1; ///< width ÷ height
            ResourceAccess resourceAccess = {};
            friend bool operator==(const Image&, const Image&) = default;
        };

        struct Shape {
            enum class ShapeType { rectangle, circle };
            struct Style {
                enum class FillStyle { color };
                double strokeWidth = 0;
                bool fill = true;
                FillStyle fillStyle = FillStyle::color;
                ZelColor fillColor{0.5, 0.5, 0.5, 1};
                friend bool operator==(const Style&, const Style&) = default;
            };
            ShapeType type = ShapeType::rectangle;
            Style style = {};
            friend bool operator==(const Shape&, const Shape&) = default;
        };

        /// JSON (lenient): "", Courier of 12 points, left, white.
        struct Text {
            enum class Alignment { left, center, right };
            std::string text = {};
            ZelFont::Font font = {"Courier", 64};
            Alignment alignment = Alignment::left;
            ZelColor color{1, 1, 1, 1};
            friend bool operator==(const Text&, const Text&) = default;
        };

        struct Transform {
            struct Scale {
                double x = 1, y = 1;
                friend bool operator==(const Scale&, const Scale&) = default;
            };
            CGPoint location = {}; ///< of the layer's centre
            Scale scale = {};
            double rotation = 0; ///< kept for the host
            double opacity = 1;  ///< kept for the host
            friend bool operator==(const Transform&, const Transform&) = default;
        };

        std::string id; ///< a new identifier
        LayerType layerType = LayerType::image;
        Image image;
        Shape shape;
        Text text;
        Transform transform;
        Layer();
        friend bool operator==(const Layer&, const Layer&) = default;
    };

    std::string id; ///< a new identifier
    std::string name = "Composer";
    double ratio = 16.0 / 9.0; ///< width ÷ height
    std::vector<Layer> layerList;
    std::vector<Guide> guideList_; ///< the user's own
    ZelColor bgColor{0.5, 0.5, 0.5, 1};
    bool shouldBeDeleted = false; ///< kept for the host
    std::optional<std::string> selectedLayerId = {};
    ZelComposer();

    static constexpr double kGuideSnapDistanceInPixels = 10.0; ///< of a view

    struct With {
        SearchAndReplace with;
    };
    struct WithAll {
        std::span<const SearchAndReplace> with;
    };
    /// A copy in which every occurrence in every layer's text is replaced, whatever the layer's type. Letter case is
    /// ignored, beyond ASCII too; what was put in is not looked at again; an empty search changes nothing.
    ZelComposer composer(With pair) const;
    /// One pair after another, each on what the ones before it made.
    ZelComposer composer(WithAll pairs) const;
};

struct NormalizeTo {
    CGSize to;
};
// Between pixels and fractions of a width: both coordinates are scaled by the size's width alone.
ZEL_API CGFloat normalize(CGFloat value, NormalizeTo size);
ZEL_API CGPoint normalize(CGPoint point, NormalizeTo size);
ZEL_API CGFloat deNormalize(CGFloat value, NormalizeTo size);
ZEL_API CGPoint deNormalize(CGPoint point, NormalizeTo size);

// Display names begin each word with a capital and have no other: "Shareapp".
template <>
inline constexpr auto
    enumCases<ZelComposer::Layer::LayerType> = std::to_array<EnumCase<ZelComposer::Layer::LayerType>>({
        {ZelComposer::Layer::LayerType::image, "image", "Image"},
        {ZelComposer::Layer::LayerType::text, "text", "Text"},
        {ZelComposer::Layer::LayerType::shape, "shape", "Shape"},
    });
template <>
inline constexpr auto
    enumCases<ZelComposer::Layer::Image::ImageType> = std::to_array<EnumCase<ZelComposer::Layer::Image::ImageType>>({
        {ZelComposer::Layer::Image::ImageType::url, "url", "Url"},
        {ZelComposer::Layer::Image::ImageType::shareApp, "shareApp", "Shareapp"},
        {ZelComposer::Layer::Image::ImageType::ingested, "ingested", "Ingested"},
    });
template <>
inline constexpr auto
    enumCases<ZelComposer::Layer::Shape::ShapeType> = std::to_array<EnumCase<ZelComposer::Layer::Shape::ShapeType>>({
        {ZelComposer::Layer::Shape::ShapeType::rectangle, "rectangle", "Rectangle"},
        {ZelComposer::Layer::Shape::ShapeType::circle, "circle", "Circle"},
    });
template <>
inline constexpr auto enumCases<ZelComposer::Layer::Shape::Style::FillStyle> =
    std::to_array<EnumCase<ZelComposer::Layer::Shape::Style::FillStyle>>({
        {ZelComposer::Layer::Shape::Style::FillStyle::color, "color", "Color"},
    });
template <>
inline constexpr auto
    enumCases<ZelComposer::Layer::Text::Alignment> = std::to_array<EnumCase<ZelComposer::Layer::Text::Alignment>>({
        {ZelComposer::Layer::Text::Alignment::left, "left", "Left"},
        {ZelComposer::Layer::Text::Alignment::center, "center", "Center"},
        {ZelComposer::Layer::Text::Alignment::right, "right", "Right"},
    });
template <>
inline constexpr auto
    enumCases<ZelComposer::Guide::Orientation> = std::to_array<EnumCase<ZelComposer::Guide::Orientation>>({
        {ZelComposer::Guide::Orientation::horizontal, "horizontal", "Horizontal"},
        {ZelComposer::Guide::Orientation::vertical, "vertical", "Vertical"},
    });

template <>
ZEL_API std::string encode(const ZelComposer& value);
template <>
ZEL_API ZelComposer decode(std::string_view text);
template <>
ZEL_API std::string encode(const ZelComposer::SearchAndReplace& value);
template <>
ZEL_API ZelComposer::SearchAndReplace decode(std::string_view text);
template <>
ZEL_API std::string encode(const ZelComposer::Guide& value);
template <>
ZEL_API ZelComposer::Guide decode(std::string_view text);
template <>
ZEL_API std::string encode(const ZelComposer::Layer& value);
template <>
ZEL_API ZelComposer::Layer decode(std::string_view text);
template <>
ZEL_API std::string encode(const ZelComposer::Layer::Image& value);
template <>
ZEL_API ZelComposer::Layer::Image decode(std::string_view text);
template <>
ZEL_API std::string encode(const ZelComposer::Layer::Image::ResourceAccess& value);
template <>
ZEL_API ZelComposer::Layer::Image::ResourceAccess decode(std::string_view text);
template <>
ZEL_API std::string encode(const ZelComposer::Layer::Shape& value);
template <>
ZEL_API ZelComposer::Layer::Shape decode(std::string_view text);
template <>
ZEL_API std::string encode(const ZelComposer::Layer::Shape::Style& value);
template <>
ZEL_API ZelComposer::Layer::Shape::Style decode(std::string_view text);
template <>
ZEL_API std::string encode(const ZelComposer::Layer::Text& value);
template <>
ZEL_API ZelComposer::Layer::Text decode(std::string_view text);
template <>
ZEL_API std::string encode(const ZelComposer::Layer::Transform& value);
template <>
ZEL_API ZelComposer::Layer::Transform decode(std::string_view text);
template <>
ZEL_API std::string encode(const ZelComposer::Layer::Transform::Scale& value);
template <>
ZEL_API ZelComposer::Layer::Transform::Scale decode(std::string_view text);

} // namespace zel
