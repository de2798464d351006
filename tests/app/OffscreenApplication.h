#pragma once

#include <QApplication>

namespace ledgerfern {

/// A Qt application without a screen, for as long as a test takes.
class OffscreenApplication {
public:
    OffscreenApplication() : application_(prepared(), arguments_) {}

private:
    int& prepared() {
        qputenv("QT_QPA_PLATFORM", "offscreen");
        return count_;
    }

    char name_[10] = "app_tests";
    char* arguments_[2] = {name_, nullptr};
    int count_ = 1;
    QApplication application_;
};

}  // namespace ledgerfern
