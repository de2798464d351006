#include "Services/StatusIcon.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <numbers>

#include "app/OffscreenApplication.h"

namespace ledgerfern {

namespace {

using StatusIcon::paint;
using StatusIcon::Panel;

// Opacities; what lies between is an edge.
constexpr int full = 250, track = 76;

class StatusIconTest : public testing::Test {
    OffscreenApplication application_;
};

int alpha(const QImage& image, int x, int y) {
    return qAlpha(image.pixel(x, y));
}

/// The opacity on the arc of an icon of 64 pixels, so far along it.
int arcAlpha(const QImage& image, double share) {
    const double angle = (135 + 270 * share) * std::numbers::pi / 180;
    return alpha(image, static_cast<int>(32 + 27.25 * std::cos(angle)),
                 static_cast<int>(35 + 27.25 * std::sin(angle)));
}

template <class Wanted>
int count(const QImage& image, const QRect& part, Wanted wanted) {
    int count = 0;
    for (int y = part.top(); y <= part.bottom(); ++y)
        for (int x = part.left(); x <= part.right(); ++x)
            count += wanted(x, y, image.pixelColor(x, y)) ? 1 : 0;
    return count;
}

/// How many pixels of the arc of an icon of 64 pixels are filled.
int filledOnArc(const QImage& image) {
    return count(image, image.rect(), [](int x, int y, const QColor& colour) {
        return std::hypot(x + .5 - 32, y + .5 - 35) > 24 && colour.alpha() >= full;
    });
}

/// The rows that the figures take up in an icon of 64 pixels.
int figuresHeight(const QImage& image) {
    int rows = 0;
    for (int y = 10; y < 60; ++y)
        rows += count(image, QRect(14, y, 36, 1),
                      [](int, int, const QColor& c) { return c.alpha() >= full; }) > 0;
    return rows;
}

}  // namespace

TEST_F(StatusIconTest, theArcIsFilledToThePercentageAndShowsItsTrackBeyond) {
    const QImage icon = paint(64, 37, Panel::light);
    for (const double share : {0.01, 0.1, 0.2, 0.3, 0.36})
        EXPECT_GE(arcAlpha(icon, share), full) << share;
    for (const double share : {0.42, 0.5, 0.75, 0.99})
        EXPECT_NEAR(arcAlpha(icon, share), track, 2) << share;
}

TEST_F(StatusIconTest, theArcIsOpenAtTheBottom) {
    const QImage icon = paint(64, 100, Panel::light);
    EXPECT_EQ(alpha(icon, 32, 62), 0);
    EXPECT_EQ(alpha(icon, 22, 62), 0);
    EXPECT_EQ(alpha(icon, 42, 62), 0);
}

TEST_F(StatusIconTest, theFilledShareGrowsWithThePercentage) {
    int before = filledOnArc(paint(64, 0, Panel::light));
    EXPECT_EQ(before, 0);
    for (int percent = 10; percent <= 100; percent += 10) {
        const int filled = filledOnArc(paint(64, percent, Panel::light));
        EXPECT_GT(filled, before) << percent;
        before = filled;
    }
}

TEST_F(StatusIconTest, theSmallestIconHasABarInsteadOfTheArc) {
    const QImage icon = paint(16, 50, Panel::light);
    for (const int y : {13, 14}) {
        for (int x = 1; x <= 7; ++x)
            EXPECT_GE(alpha(icon, x, y), x == 1 ? 200 : full) << x;
        for (int x = 10; x <= 13; ++x)
            EXPECT_NEAR(alpha(icon, x, y), track, 2) << x;
    }
    EXPECT_EQ(count(icon, QRect(0, 11, 16, 2), [](int, int, const QColor& c) { return c.alpha() > 0; }), 0);
    EXPECT_EQ(count(icon, QRect(0, 15, 16, 1), [](int, int, const QColor& c) { return c.alpha() > 0; }), 0);
}

TEST_F(StatusIconTest, eachIconHasOneColourByThePanel) {
    for (const int size : {16, 22, 24, 32, 48, 64}) {
        const auto isOther = [](const QColor& wanted) {
            return [wanted](int, int, const QColor& colour) {
                const int farthest = std::max({std::abs(colour.red() - wanted.red()),
                                               std::abs(colour.green() - wanted.green()),
                                               std::abs(colour.blue() - wanted.blue())});
                return colour.alpha() >= 70 && farthest > 3;  // pale pixels hold their colour less exactly
            };
        };
        const QImage light = paint(size, 78, Panel::light), dark = paint(size, 78, Panel::dark);
        EXPECT_EQ(count(light, light.rect(), isOther(QColor(0x11, 0x11, 0x14))), 0) << size;
        EXPECT_EQ(count(dark, dark.rect(), isOther(Qt::white)), 0) << size;
    }
}

TEST_F(StatusIconTest, theFiguresAreTheWholePercentage) {
    EXPECT_EQ(figuresHeight(paint(64, 37.4, Panel::light)), figuresHeight(paint(64, 37, Panel::light)));
    const QRect middle(14, 20, 36, 28);
    const auto figures = [&](double percent) { return paint(64, percent, Panel::light).copy(middle); };
    EXPECT_EQ(figures(37.4), figures(37));
    EXPECT_EQ(figures(37.5), figures(38));
    EXPECT_NE(figures(37), figures(38));
}

TEST_F(StatusIconTest, threeFiguresAreSmallerSoThatTheyFit) {
    EXPECT_LT(figuresHeight(paint(64, 100, Panel::light)), figuresHeight(paint(64, 99, Panel::light)));
    EXPECT_EQ(count(paint(16, 100, Panel::light), QRect(0, 0, 1, 12),
                    [](int, int, const QColor& colour) { return colour.alpha() > 0; }),
              0);
}

TEST_F(StatusIconTest, beforeTheFirstNumbersTheGaugeIsEmptyRoundAnEllipsis) {
    const QImage icon = paint(64, std::nullopt, Panel::light);
    EXPECT_EQ(filledOnArc(icon), 0);
    EXPECT_GT(figuresHeight(icon), 0);
    EXPECT_LT(figuresHeight(icon), figuresHeight(paint(64, 0, Panel::light)) / 2);
}

TEST_F(StatusIconTest, percentagesOutOfRangeStayInsideTheGauge) {
    EXPECT_EQ(filledOnArc(paint(64, 1e18, Panel::light)), filledOnArc(paint(64, 100, Panel::light)));
    EXPECT_EQ(paint(64, 1e18, Panel::light), paint(64, 999, Panel::light));
    EXPECT_EQ(paint(64, -1, Panel::light), paint(64, 0, Panel::light));
}

TEST_F(StatusIconTest, thereIsAPixmapForEverySizeThatPanelsAskFor) {
    const QIcon icon = StatusIcon::icon(37, Panel::dark);
    for (const int size : {16, 22, 24, 32, 48, 64})
        EXPECT_EQ(icon.pixmap(size, size).toImage().convertToFormat(QImage::Format_ARGB32_Premultiplied),
                  paint(size, 37, Panel::dark))
            << size;
}

}  // namespace ledgerfern
