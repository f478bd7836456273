#pragma once
#include <zel/composition/composer.h>

#include <map>

namespace zel {

/// What is saved of a manager.
struct ManagerRecord {
    std::string configurationName = "Default";
    std::vector<ZelComposer> composerList = {};
    std::optional<std::string> selectedComposerId = {};
};

/// Throws ZelEncodingError.
std::string textOf(const ManagerRecord& record);
/// Throws ZelDecodingError.
ManagerRecord recordOf(std::string_view text);

/// Makes the text of a record again and again, most of it from the time before: a layer that stayed the same costs a
/// comparison, a hundredth of what its text costs. Holds a copy of every layer, and its text.
class RecordText {
public:
    /// What `textOf(record)` gives, or throws.
    std::string of(const ManagerRecord& record);

private:
    struct KeptLayer {
        ZelComposer::Layer layer;
        std::string text;
    };
    using KeptLayers = std::vector<KeptLayer>;
    static void bringUpToDate(KeptLayers& kept, const std::vector<ZelComposer::Layer>& layers);
    std::string assembled(const ManagerRecord& record);

    std::map<std::string, KeptLayers> composers_; ///< by identifier
};

} // namespace zel
