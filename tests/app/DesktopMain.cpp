#include <gmock/gmock.h>

#include <QApplication>

// The tests that need a desktop share one application.
int main(int argc, char** argv) {
    const QApplication application(argc, argv);
    testing::InitGoogleMock(&argc, argv);
    return RUN_ALL_TESTS();
}
