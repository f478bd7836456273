#include "commands.h"

#include <QStringList>
#include <QWidget>

namespace zel::viewer {

QAction* makeAction(const Command& command, QWidget& owner)
{
    auto* action = new QAction(&owner);
    if (!command.act) {
        action->setSeparator(true);
        return action;
    }
    action->setText(command.button.isEmpty() ? command.text : command.button);
    action->setToolTip(command.text + "  (" + keysText(command) + ")");
    action->setShortcuts(command.keys);
    action->setCheckable(command.isToggle);
    QObject::connect(action, &QAction::triggered, &owner, command.act);
    owner.addAction(action);
    return action;
}

QString keysText(const Command& command)
{
    QStringList texts;
    for (const QKeySequence& key : command.keys)
        texts.append(key.toString(QKeySequence::PortableText));
    return texts.join(", ");
}

QString keysTable(const QList<Command>& commands)
{
    QString rows;
    for (const Command& command : commands)
        rows += command.act
                    ? QString("<tr><td style='padding-right: 28px'>%1</td><td style='color: #E8B04A'>%2</td></tr>")
                          .arg(command.text.toHtmlEscaped(), keysText(command).toHtmlEscaped())
                    : QString("<tr><td colspan=2>&nbsp;</td></tr>");
    return "<table>" + rows + "</table>";
}

} // namespace zel::viewer
