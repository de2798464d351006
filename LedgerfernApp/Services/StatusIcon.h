#pragma once

#include <QIcon>
#include <QImage>
#include <optional>

namespace ledgerfern::StatusIcon {

/// The ground that the icon stands on.
enum class Panel { light, dark };

/// The square icon of a tray: the whole percentage in figures, without its sign, and how much that is as a
/// gauge: an arc round the figures, or where there is no room for one, a bar below them. "…" and an empty
/// gauge while the percentage is absent. It has one colour, and is transparent elsewhere. Main thread.
///
/// `percent` is held within 0 to 999 for the figures, and to 100 for the gauge.
QImage paint(int size, std::optional<double> percent, Panel panel);

/// The same in every size that panels ask for.
QIcon icon(std::optional<double> percent, Panel panel);

}  // namespace ledgerfern::StatusIcon
