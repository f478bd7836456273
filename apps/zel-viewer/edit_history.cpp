#include "edit_history.h"

namespace zel::viewer {

void EditHistory::change(const EditChain& next, std::string_view name)
{
    if (next == now_)
        return;
    if (name.empty() || name != last_)
        before_.push_back(now_);
    after_.clear();
    now_ = next;
    last_ = name;
}

void EditHistory::move(std::vector<EditChain>& from, std::vector<EditChain>& to)
{
    if (from.empty())
        return;
    to.push_back(now_);
    now_ = from.back();
    from.pop_back();
    last_.clear();
}

} // namespace zel::viewer
