#include "Application/Scanner.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <thread>

#include "core/FakePreferences.h"
#include "core/TempFolder.h"

namespace ledgerfern {
namespace {

TEST(Scanner, handsOverBeforeTheNextScanBegins) {
    const test::TempFolder home;
    Scanner scanner(
        {{home.path(), ToolKind::codex}}, home / "cache.sqlite", [] { return 0.0; },
        std::make_shared<FakePreferences>());
    std::atomic<bool> isNextOver = false;
    std::thread next;
    scanner.scan({}, [&](const PreparedSnapshot&) {
        next = std::thread([&] { scanner.scan({}, [&](const PreparedSnapshot&) { isNextOver = true; }); });
        while (scanner.waitingCount() == 0 && !isNextOver)
            std::this_thread::yield();
        EXPECT_FALSE(isNextOver);
    });
    next.join();
    EXPECT_TRUE(isNextOver);
}

}  // namespace
}  // namespace ledgerfern
