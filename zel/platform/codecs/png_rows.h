#pragma once
#include <zel/platform/codecs/png_chunks.h>
#include <zel/platform/foundation/guards.h>

namespace zel::png {

/// Hands decoded rows to a sink: the rows of the request alone, with progress, cancelling and the deadline on the way.
class RowDelivery {
public:
    RowDelivery(const Header& header, const PixelProvider::Request& request, const RowSink& sink);
    /// Rows [first(), end()) of the picture are wanted; the two are equal where none are.
    [[nodiscard]] int first() const { return first_; }
    [[nodiscard]] int end() const { return end_; }
    [[nodiscard]] int bytesPerPixel() const { return header_.facts.layout.bitsPerComponent == 16 ? 8 : 4; }
    /// Rows that begin at row `at` of the picture. False: stop, because the sink said so or for a reason that is noted.
    [[nodiscard]] bool deliver(int at, const engine::ConstPixels& rows) const;
    /// Zeros from row `at` to the end of what is wanted.
    [[nodiscard]] bool deliverZeros(int at) const;

private:
    const Header& header_;
    const RowSink& sink_;
    int first_;
    int end_;
    Deadline deadline_;
};

/// How the stream of pixels ended, where not as it should.
enum class Damage { truncated, damaged };

/// Notes the failure of a picture of which nothing can be shown.
bool failDamaged(Damage damage);
/// Notes the warning for one of which `done` of `all` rows (or passes over them) were read before the damage.
void warnDamaged(Damage damage, int done, int all, std::string_view unit = "rows");
/// Notes that the pixels do not match their checksum: they are shown all the same.
void noteMismatch();

} // namespace zel::png
