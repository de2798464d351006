#pragma once

#include <QColor>

/// What the tray's icon is drawn in, on a panel that is light or dark whatever the appearance of windows is.
namespace ledgerfern::TrayColours {

inline constexpr QColor onLight(0x11, 0x11, 0x14);
inline constexpr QColor onDark(0xFF, 0xFF, 0xFF);

}  // namespace ledgerfern::TrayColours
