#include "Services/UpdaterViewModel.h"

#include <gtest/gtest.h>

#include <QObject>
#include <thread>

#include "app/FakeMainLoop.h"

namespace ledgerfern {
namespace {

constexpr auto installed = "/usr/bin/ledgerfern";
constexpr auto developerBuild = "/home/fern/Projects/Ledgerfern/build/debug/ledgerfern";

class FakeUpdateFramework : public UpdateFramework {
public:
    explicit FakeUpdateFramework(int& checks) : checks_(checks) {}

    bool canCheckForUpdates() const override { return checks_ == 0; }
    void checkForUpdates() override { ++checks_; }

private:
    int& checks_;
};

class UpdaterViewModelTest : public testing::Test {
protected:
    std::unique_ptr<UpdaterViewModel> viewModelOf(const std::string& executable) {
        const auto make = [this](bool startsUpdater, std::function<void()> onAlert) {
            starts.push_back(startsUpdater);
            alert = std::move(onAlert);
            return std::make_unique<FakeUpdateFramework>(checks);
        };
        return std::make_unique<UpdaterViewModel>(executable, loop, make);
    }
    /// What making one prints.
    std::string printed(const std::string& executable) {
        testing::internal::CaptureStdout();
        viewModelOf(executable);
        return testing::internal::GetCapturedStdout();
    }

    FakeMainLoop loop;
    std::vector<bool> starts;  // of each framework made
    std::function<void()> alert;
    int checks = 0;
};

TEST_F(UpdaterViewModelTest, startsTheUpdater) {
    EXPECT_EQ(printed(installed), "");
    EXPECT_EQ(starts, std::vector{true});
}

TEST_F(UpdaterViewModelTest, doesNotStartTheUpdaterOfADeveloperBuild) {
    EXPECT_EQ(printed(developerBuild), "[dev] Sparkle disabled (running from repo build/ directory)\n");
    EXPECT_EQ(starts, std::vector{false});
}

TEST_F(UpdaterViewModelTest, knowsADeveloperBuildByTheWholeFragment) {
    for (const std::string path :
         {"/Projects/Ledgerfern/build", "Projects/Ledgerfern/build/ledgerfern",
          "/projects/ledgerfern/build/ledgerfern", "/Projects/Ledgerfern/builds/l", ""})
        EXPECT_EQ(printed(path), "") << path;
    EXPECT_NE(printed("/Projects/Ledgerfern/build/ledgerfern"), "");
}

TEST_F(UpdaterViewModelTest, canCheckWhenTheFrameworkCan) {
    const auto viewModel = viewModelOf(installed);
    EXPECT_TRUE(viewModel->canCheckNow());
    viewModel->checkForUpdates();
    EXPECT_EQ(checks, 1);
    EXPECT_FALSE(viewModel->canCheckNow());
}

TEST_F(UpdaterViewModelTest, canNeverCheckInADeveloperBuild) {
    testing::internal::CaptureStdout();
    const auto viewModel = viewModelOf(developerBuild);
    testing::internal::GetCapturedStdout();
    EXPECT_FALSE(viewModel->canCheckNow());
}

TEST_F(UpdaterViewModelTest, knowsOfNoUpdateAtFirst) {
    const auto viewModel = viewModelOf(installed);
    EXPECT_FALSE(viewModel->updateAvailable());
    EXPECT_FALSE(viewModel->lastCheck().has_value());
}

TEST_F(UpdaterViewModelTest, anAlertMakesAnUpdateAvailableOnTheMainThread) {
    const auto viewModel = viewModelOf(installed);
    int changes = 0;
    QObject::connect(viewModel.get(), &UpdaterViewModel::updateAvailableChanged, [&] { ++changes; });
    std::thread(alert).join();
    EXPECT_FALSE(viewModel->updateAvailable());
    loop.runPosted();
    EXPECT_TRUE(viewModel->updateAvailable());
    EXPECT_EQ(changes, 1);
}

TEST_F(UpdaterViewModelTest, anUpdateStaysAvailableAndIsToldOnce) {
    const auto viewModel = viewModelOf(installed);
    int changes = 0;
    QObject::connect(viewModel.get(), &UpdaterViewModel::updateAvailableChanged, [&] { ++changes; });
    alert();
    alert();
    loop.runPosted();
    viewModel->checkForUpdates();
    alert();
    loop.runPosted();
    EXPECT_TRUE(viewModel->updateAvailable());
    EXPECT_EQ(changes, 1);
}

TEST_F(UpdaterViewModelTest, anAlertMayComeAfterItsEnd) {
    auto viewModel = viewModelOf(installed);
    alert();
    viewModel.reset();
    alert();
    EXPECT_EQ(loop.runPosted(), 2);
}

}  // namespace
}  // namespace ledgerfern
