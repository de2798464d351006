#include "Services/WhatsNewPresenter.h"

#include <gtest/gtest.h>

#include <memory>

#include "Foundation/JsonFilePreferences.h"
#include "app/FakeMainLoop.h"
#include "core/FileFixture.h"

namespace ledgerfern {
namespace {

class WhatsNewPresenterTest : public FileFixture {
protected:
    void setSeenVersion(const std::string& version) { preferences.setBytes("whatsNew.seenVersion", version); }
    /// Whether the sheet comes up with the window, at its time and not before.
    bool isShownAtLaunch() {
        presenter->windowAppeared();
        loop.pass(1.19);
        EXPECT_FALSE(presenter->show());
        loop.pass(0.02);
        return presenter->show();
    }

    JsonFilePreferences preferences{path("preferences.json")};
    FakeMainLoop loop;
    std::unique_ptr<WhatsNewPresenter> presenter = std::make_unique<WhatsNewPresenter>(preferences, loop);
};

TEST_F(WhatsNewPresenterTest, showsTheSheetAtTheFirstRun) {
    EXPECT_EQ(presenter->seenVersion(), "");
    EXPECT_TRUE(isShownAtLaunch());
}

TEST_F(WhatsNewPresenterTest, showsNothingWhereThisVersionHasBeenSeen) {
    setSeenVersion("1.6.0");
    EXPECT_FALSE(isShownAtLaunch());
    EXPECT_EQ(loop.timerCount(), 0U);
}

TEST_F(WhatsNewPresenterTest, showsTheSheetAfterAnyOtherVersion) {
    for (const std::string version : {"1.5.0", "1.6.1", "2.0.0", "1.6", " 1.6.0"}) {
        setSeenVersion(version);
        EXPECT_TRUE(isShownAtLaunch()) << version;
        presenter->setShow(false);
    }
}

TEST_F(WhatsNewPresenterTest, marksTheVersionAsSeenWhenTheSheetGoes) {
    isShownAtLaunch();
    EXPECT_EQ(presenter->seenVersion(), "");
    presenter->setShow(false);
    EXPECT_EQ(presenter->seenVersion(), "1.6.0");
    EXPECT_EQ(preferences.bytes("whatsNew.seenVersion"), "1.6.0");
    EXPECT_FALSE(isShownAtLaunch());
}

TEST_F(WhatsNewPresenterTest, showsTheSheetOnCommandAtAnyTime) {
    setSeenVersion("1.6.0");
    presenter->setShow(true);
    EXPECT_TRUE(presenter->show());
    presenter->setShow(false);
    EXPECT_EQ(presenter->seenVersion(), "1.6.0");
}

TEST_F(WhatsNewPresenterTest, aSheetThatIsNotThereCanNotBeSeen) {
    presenter->setShow(false);
    EXPECT_EQ(presenter->seenVersion(), "");
}

TEST_F(WhatsNewPresenterTest, tellsEachChangeOnce) {
    int changes = 0;
    QObject::connect(presenter.get(), &WhatsNewPresenter::showChanged, [&] { ++changes; });
    presenter->setShow(true);
    presenter->setShow(true);
    EXPECT_EQ(changes, 1);
    presenter->setShow(false);
    EXPECT_EQ(changes, 2);
}

TEST_F(WhatsNewPresenterTest, mayEndBeforeTheSheetsTime) {
    presenter->windowAppeared();
    presenter.reset();
    loop.pass(2);
    EXPECT_EQ(loop.timerCount(), 0U);
}

TEST_F(WhatsNewPresenterTest, bearsPreferencesThatCanNotBeWritten) {
    JsonFilePreferences unwritable(write("file", "") + "/preferences.json");
    presenter = std::make_unique<WhatsNewPresenter>(unwritable, loop);
    EXPECT_TRUE(isShownAtLaunch());
    presenter->setShow(false);
    EXPECT_FALSE(presenter->show());
    EXPECT_EQ(presenter->seenVersion(), "");
}

}  // namespace
}  // namespace ledgerfern
