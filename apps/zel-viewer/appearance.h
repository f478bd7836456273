#pragma once
#include <QColor>

class QApplication;

namespace zel::viewer::Appearance {

// Greys without a tint, so that nothing beside a picture colours it.
inline constexpr QColor ground{0x1B, 0x1B, 0x1B}; ///< under pictures
inline constexpr QColor panel{0x26, 0x26, 0x26};
inline constexpr QColor text{0xDE, 0xDE, 0xDE};
inline constexpr QColor quietText{0x94, 0x94, 0x94};
inline constexpr QColor accent{0xE8, 0xB0, 0x4A};

/// For all windows of the application.
void apply(QApplication& application);

} // namespace zel::viewer::Appearance
