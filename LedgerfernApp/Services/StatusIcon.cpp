#include "Services/StatusIcon.h"

#include <QFont>
#include <QPainter>
#include <QPainterPath>
#include <algorithm>
#include <cmath>

#include "DesignSystem/TrayColours.h"

namespace ledgerfern::StatusIcon {

namespace {

/// The icon as it is drawn at one size, in pixels of it. Other sizes are scaled from the next smaller one.
struct Drawing {
    int size;
    double stroke;   // of the gauge
    double figures;  // size of their type
    double threeFigures;
    double figuresY;  // middle of their height
    double radius;    // of the arc, at the middle of its stroke; 0: the gauge is a bar
    double gaugeY;    // of the arc's centre, or the bar's
};

constexpr Drawing drawings[] = {
    {.size = 16, .stroke = 2, .figures = 9.6, .threeFigures = 7.4, .figuresY = 7, .radius = 0, .gaugeY = 14},
    {.size = 22,
     .stroke = 2,
     .figures = 9.2,
     .threeFigures = 7.2,
     .figuresY = 12.15,
     .radius = 9.5,
     .gaugeY = 12.25},
    {.size = 32,
     .stroke = 2.75,
     .figures = 13,
     .threeFigures = 10.5,
     .figuresY = 17.4,
     .radius = 13.625,
     .gaugeY = 17.5},
};

constexpr int smallestWithArc = 20;
constexpr double barLength = 13;
constexpr double trackOpacity = 0.3;
// In degrees, counted as a clock's hand turns from nine o'clock.
constexpr double arcStart = -45, arcSweep = 270;

const Drawing& drawingFor(int size) {
    if (size >= drawings[2].size) return drawings[2];
    return drawings[size >= smallestWithArc ? 1 : 0];
}

QFont figuresFont(int pixelSize) {
    QFont font(QStringLiteral("Inter"));
    font.setPixelSize(pixelSize);
    font.setBold(true);
    font.setHintingPreference(QFont::PreferNoHinting);
    return font;
}

/// So wide that each digit has room; Inter's own cells of one width can't be switched on here.
double digitCell(const QFontMetricsF& metrics) {
    double widest = 0;
    for (const QChar digit : QStringLiteral("0123456789"))
        widest = std::max(widest, metrics.horizontalAdvance(digit));
    return widest;
}

/// The figures round the middle of their width and height, each digit in a cell, so that they keep their
/// places as they change; as an outline, so that every size of type is exact, and none is pulled to the grid
/// of pixels.
QPainterPath figuresPath(const QString& text, double size) {
    constexpr int unit = 256;
    const QFont font = figuresFont(unit);
    const QFontMetricsF metrics(font);
    const double cell = digitCell(metrics);
    double x = -cell * static_cast<double>(text.size()) / 2;
    QPainterPath path;
    for (const QChar character : text) {
        path.addText(x + (cell - metrics.horizontalAdvance(character)) / 2, metrics.capHeight() / 2, font,
                     character);
        x += cell;
    }
    return QTransform::fromScale(size / unit, size / unit).map(path);
}

QString figuresText(std::optional<double> percent) {
    if (!percent) return QStringLiteral("…");
    return QString::number(std::lround(std::clamp(*percent, 0.0, 999.0)));
}

QPainterPath gaugePath(const Drawing& drawing, double share) {
    const QPointF middle(drawing.size / 2.0, drawing.gaugeY);
    QPainterPath path;
    if (drawing.radius > 0) {
        const QPointF corner(drawing.radius, drawing.radius);
        const QRectF circle(middle - corner, middle + corner);
        path.arcMoveTo(circle, 180 - arcStart);
        path.arcTo(circle, 180 - arcStart, -arcSweep * share);
    } else {
        path.moveTo(middle - QPointF(barLength / 2, 0));
        path.lineTo(path.currentPosition() + QPointF(barLength * share, 0));
    }
    return path;
}

QColor withOpacity(QColor colour, double opacity) {
    colour.setAlphaF(static_cast<float>(opacity));
    return colour;
}

void strokeGauge(QPainter& painter, const Drawing& drawing, double share, const QColor& colour) {
    painter.strokePath(gaugePath(drawing, share),
                       QPen(colour, drawing.stroke, Qt::SolidLine, Qt::RoundCap, Qt::RoundJoin));
}

void paintFigures(QPainter& painter, const Drawing& drawing, const QString& text, const QColor& colour) {
    const double size = text.size() < 3 ? drawing.figures : drawing.threeFigures;
    painter.translate(drawing.size / 2.0, drawing.figuresY);
    painter.fillPath(figuresPath(text, size), colour);
}

}  // namespace

QImage paint(int size, std::optional<double> percent, Panel panel) {
    const Drawing& drawing = drawingFor(size);
    const QColor colour = panel == Panel::dark ? TrayColours::onDark : TrayColours::onLight;
    const double share = std::clamp(percent.value_or(0) / 100, 0.0, 1.0);
    QImage image(size, size, QImage::Format_ARGB32_Premultiplied);
    image.fill(Qt::transparent);
    QPainter painter(&image);
    painter.setRenderHint(QPainter::Antialiasing);
    painter.scale(1.0 * size / drawing.size, 1.0 * size / drawing.size);
    strokeGauge(painter, drawing, 1, withOpacity(colour, trackOpacity));
    if (share > 0) strokeGauge(painter, drawing, share, colour);
    paintFigures(painter, drawing, figuresText(percent), colour);
    return image;
}

QIcon icon(std::optional<double> percent, Panel panel) {
    QIcon icon;
    for (const int size : {16, 22, 24, 32, 48, 64})
        icon.addPixmap(QPixmap::fromImage(paint(size, percent, panel)));
    return icon;
}

}  // namespace ledgerfern::StatusIcon
