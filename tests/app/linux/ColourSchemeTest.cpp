#include "Services/linux/ColourScheme.h"

#include <gtest/gtest.h>

#include <QPalette>

#include "app/OffscreenApplication.h"
#include "core/FileFixture.h"

namespace ledgerfern {

TEST(ColourScheme, withoutAPortalItIsThatOfThePalette) {
    const EnvironmentVariable bus("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nowhere");
    const OffscreenApplication application;
    int changes = 0;
    const ColourScheme scheme([&] { ++changes; });
    QApplication::setPalette(QPalette(QColor(240, 240, 240)));
    QApplication::processEvents();
    EXPECT_FALSE(scheme.isDark());
    changes = 0;
    QApplication::setPalette(QPalette(QColor(30, 30, 30)));
    QApplication::processEvents();
    EXPECT_TRUE(scheme.isDark());
    EXPECT_GE(changes, 1);
}

}  // namespace ledgerfern
