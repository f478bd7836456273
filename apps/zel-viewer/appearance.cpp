#include "appearance.h"

#include <QApplication>
#include <QPalette>
#include <QStyleFactory>

namespace zel::viewer {
namespace {

constexpr const char* sheet = R"(
QToolBar { background: #262626; border: 0; border-bottom: 1px solid #141414; padding: 4px 6px; spacing: 2px; }
QToolBar::separator { background: #3A3A3A; width: 1px; margin: 5px 6px; }
QToolButton { padding: 5px 9px; border-radius: 4px; color: #DEDEDE; }
QToolButton:hover { background: #353535; }
QToolButton:checked { background: #454545; color: #FFFFFF; }
QToolButton:disabled { color: #666666; }
QStatusBar { background: #262626; border-top: 1px solid #141414; color: #949494; }
QStatusBar::item { border: 0; }
QStatusBar QLabel { padding: 3px 8px; color: #949494; }
#side { background: #262626; border-left: 1px solid #141414; }
#strip { background: #202020; border-top: 1px solid #141414; }
#heading { color: #949494; font-weight: 600; }
#quiet { color: #949494; }
QPushButton { padding: 6px 12px; border: 1px solid #3C3C3C; border-radius: 4px; background: #333333; }
QPushButton:hover { background: #3C3C3C; }
QPushButton:pressed { background: #2C2C2C; }
QPushButton:disabled { color: #6A6A6A; background: #2A2A2A; }
QPushButton:default { background: #E8B04A; border-color: #E8B04A; color: #1B1B1B; }
QSlider::groove:horizontal { height: 4px; border-radius: 2px; background: #3F3F3F; }
QSlider::handle:horizontal { width: 14px; height: 14px; margin: -5px 0; border-radius: 7px; background: #C8C8C8; }
QSlider::handle:horizontal:hover, QSlider::handle:horizontal:focus { background: #E8B04A; }
QProgressBar { border: 0; border-radius: 3px; background: #3F3F3F; height: 6px; }
QProgressBar::chunk { border-radius: 3px; background: #E8B04A; }
QToolTip { background: #333333; color: #DEDEDE; border: 1px solid #4A4A4A; padding: 3px; }
)";

} // namespace

void Appearance::apply(QApplication& application)
{
    QApplication::setStyle(QStyleFactory::create("Fusion"));
    QPalette palette;
    palette.setColor(QPalette::Window, panel);
    palette.setColor(QPalette::WindowText, text);
    palette.setColor(QPalette::Base, ground);
    palette.setColor(QPalette::AlternateBase, panel);
    palette.setColor(QPalette::Text, text);
    palette.setColor(QPalette::Button, QColor(0x33, 0x33, 0x33));
    palette.setColor(QPalette::ButtonText, text);
    palette.setColor(QPalette::BrightText, Qt::white);
    palette.setColor(QPalette::PlaceholderText, quietText);
    palette.setColor(QPalette::ToolTipBase, panel);
    palette.setColor(QPalette::ToolTipText, text);
    palette.setColor(QPalette::Link, accent);
    palette.setColor(QPalette::Highlight, accent);
    palette.setColor(QPalette::HighlightedText, ground);
    for (const QPalette::ColorRole role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText})
        palette.setColor(QPalette::Disabled, role, QColor(0x6A, 0x6A, 0x6A));
    QApplication::setPalette(palette);
    application.setStyleSheet(sheet);
}

} // namespace zel::viewer
