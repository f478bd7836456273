#pragma once
#include "edit_chain.h"

#include <string>
#include <string_view>

namespace zel::viewer {

/// The edits of one picture, and the way back. Changes of the same name that follow one another, as a slider makes
/// them, are one step; those without a name never are.
class EditHistory {
public:
    [[nodiscard]] const EditChain& now() const { return now_; }
    void change(const EditChain& next, std::string_view name);
    void undo() { move(before_, after_); }
    void redo() { move(after_, before_); }
    [[nodiscard]] bool canUndo() const { return !before_.empty(); }
    [[nodiscard]] bool canRedo() const { return !after_.empty(); }

private:
    void move(std::vector<EditChain>& from, std::vector<EditChain>& to);

    EditChain now_;
    std::vector<EditChain> before_, after_;
    std::string last_; ///< the name of the step that led here
};

} // namespace zel::viewer
