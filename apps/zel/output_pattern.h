#pragma once
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace zel::program {

/// What the placeholders of a pattern stand for.
struct PatternValues {
    std::string_view stem;                            ///< the input's name without folders and extension
    std::string_view extension;                       ///< of the output
    std::size_t number = 0;                           ///< of the input, from 1
    std::optional<int> width, height;                 ///< of the result, once it is known
    std::optional<std::size_t> row = {}, column = {}; ///< of a tile, from 0
    std::optional<std::size_t> page = {};             ///< of a document, from 1
};

/// An output's name with placeholders: "out/{stem}-{width}.{ext}", "{n:04}.jpg". "{{" and "}}" are braces.
class OutputPattern {
public:
    /// Throws UsageError: a placeholder that does not exist, a brace without its partner.
    explicit OutputPattern(std::string_view pattern);

    /// True where the name depends on the result's size.
    [[nodiscard]] bool needsSize() const;
    /// True where the name has a place for a tile's row, or for its column.
    [[nodiscard]] bool namesRow() const { return has(Kind::row); }
    [[nodiscard]] bool namesColumn() const { return has(Kind::column); }
    [[nodiscard]] bool namesNumber() const { return has(Kind::number); }
    [[nodiscard]] bool namesPage() const { return has(Kind::page); }
    /// The name; placeholders whose value is not known yet stay as they are.
    [[nodiscard]] std::string expand(const PatternValues& values) const;
    /// The text behind the last placeholder or slash that looks like an extension: "jpg" of "{stem}.jpg"; else empty.
    [[nodiscard]] std::string extension() const;

private:
    enum class Kind { literal, stem, extension, number, width, height, row, column, page };
    struct Part {
        Kind kind;
        std::string text;       ///< of a literal
        std::size_t digits = 0; ///< at least, filled with zeros
    };
    static std::optional<Kind> readKind(std::string_view name);
    [[nodiscard]] bool has(Kind kind) const;

    std::vector<Part> parts_;
};

} // namespace zel::program
