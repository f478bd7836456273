#include "edit_plan.h"

#include "text.h"

#include <zel/platform/foundation/guards.h>
#include <zel/platform/foundation/number_text.h>
#include <zel/platform/graphics/pixel_provider.h>
#include <zel/platform/graphics/render.h>

#include <fmt/format.h>

#include <algorithm>

namespace zel::program {
namespace {

/// What is in memory as the steps go by.
class Plan {
public:
    Plan(const std::string& name, const Ref<ZelImage>& image) : stored_(image), size_(image->size)
    {
        const auto& layout = image->cgImage->layout();
        bytesPerPixel_ = layout.bitsPerComponent == 16 ? 8 : 4;
        text_ = fmt::format("{}: {}, {} bits\n", printable(name), sizeText(size_), layout.bitsPerComponent);
    }

    void add(const EditStep& step)
    {
        const CGSize after = step.sizeAfter(size_);
        const double ratio = std::min(size_.width / after.width, size_.height / after.height);
        std::string how;
        if (isStored_ && step.needs == Needs::rows) {
            const auto* const provider = stored_ ? stored_->cgImage->provider().get() : nullptr;
            const int denominator = provider == nullptr ? 1 : decodedAt(*provider, ratio);
            how = denominator == 1 ? ", as its rows are decoded" : fmt::format(", decoded at 1/{}", denominator);
        }
        if (isStored_ && step.needs == Needs::pixels) {
            how = ", all of it decoded first";
            source_ = bytesOf(size_);
        }
        if (step.needs != Needs::nothing) {
            const double before = isStored_ ? source_ : source_ + bytesOf(size_);
            bytesPerPixel_ = 4;
            most_ = std::max(most_, before + bytesOf(after));
            isStored_ = false;
        } else if (!isStored_) {
            most_ = std::max(most_, source_ + bytesOf(size_) + bytesOf(after));
        }
        // What decodes nothing can be done here and now: the decoder then says itself what it reduces.
        stored_ = isStored_ && stored_ && step.needs == Needs::nothing ? step.prepare()(stored_) : nullptr;
        size_ = after;
        text_ += fmt::format("  {}: {}{}\n", wordsText(step.words), sizeText(after), how);
    }

    [[nodiscard]] std::string text() const
    {
        const auto* const facts = isStored_ && stored_ ? stored_->cgImage->facts() : nullptr;
        if (facts != nullptr && (facts->orientation == Orientation::up || facts->orientation == Orientation::mirrored))
            return text_ + "  written as its rows are decoded\n";
        const double turning = isStored_ ? 2 * bytesOf(size_) : 0; // all of it, and all of it turned
        const auto bytes = static_cast<std::uint64_t>(truncated(std::max({most_, source_, turning})));
        return text_ + fmt::format("  at most {} of pixels at once\n", byteText(bytes));
    }

private:
    static std::string sizeText(CGSize size) { return fmt::format("{} x {}", size.width, size.height); }
    static std::string wordsText(const StepWords& words)
    {
        std::string text = words.name;
        for (const auto& [name, value] : words.settings)
            text += fmt::format(" {}={}", name, value);
        return printable(text);
    }
    [[nodiscard]] double bytesOf(CGSize size) const { return size.width * size.height * bytesPerPixel_; }

    Ref<ZelImage> stored_; ///< the picture so far, while nothing is decoded
    CGSize size_;
    int bytesPerPixel_ = 4;
    bool isStored_ = true; ///< nothing is decoded yet
    double source_ = 0;    ///< bytes of the input, once all of it is in memory
    double most_ = 0;
    std::string text_;
};

} // namespace

std::string planText(const std::string& name, const Ref<ZelImage>& image, const std::vector<EditStep>& steps)
{
    Plan plan(name, image);
    for (const EditStep& step : steps)
        plan.add(step);
    return plan.text();
}

} // namespace zel::program
