#pragma once
#include <QIcon>

/// The pictures of the program's buttons, drawn in the colour of its texts.
enum class Glyph { composition, picture, rectangle, circle, text, duplicate, remove, undo, redo, exporting };
QIcon iconOf(Glyph glyph);
