#pragma once
#include <QAction>
#include <QKeySequence>
#include <QList>

#include <functional>

namespace zel::viewer {

/// Something that a key does, and perhaps a button.
struct Command {
    QString text; ///< "Next picture"
    QList<QKeySequence> keys;
    std::function<void()> act;
    QString button = {};   ///< on the tool bar; empty: keys alone
    bool isToggle = false; ///< `act` then changes what the action's check mark shows
};

/// A separator on the tool bar, and a gap in the list of keys.
inline Command gap()
{
    return {{}, {}, {}};
}

/// The action for it, its keys active within `owner`; a separator for a gap.
QAction* makeAction(const Command& command, QWidget& owner);

/// "Right, Space"
QString keysText(const Command& command);

/// Every command with its keys, as rows of a table of rich text.
QString keysTable(const QList<Command>& commands);

} // namespace zel::viewer
