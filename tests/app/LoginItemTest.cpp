#include "Services/LoginItem.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace ledgerfern {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

/// A login item that can be made to fail.
class FakeLoginItem : public LoginItemService {
public:
    bool isEnabled() const override { return state; }
    bool registerItem() override { return change("register", true); }
    bool unregisterItem() override { return change("unregister", false); }

    bool state = false;
    bool fails = false;
    std::vector<std::string> calls;

private:
    bool change(const std::string& call, bool to) {
        calls.push_back(call);
        if (!fails) state = to;
        return !fails;
    }
};

TEST(LoginItem, isRegisteredWhenSwitchedOn) {
    FakeLoginItem service;
    LoginItem::setEnabled(service, true);
    EXPECT_THAT(service.calls, ElementsAre("register"));
    EXPECT_TRUE(service.isEnabled());
}

TEST(LoginItem, enablingItWhileItIsEnabledDoesNothing) {
    FakeLoginItem service;
    service.state = true;
    LoginItem::setEnabled(service, true);
    EXPECT_THAT(service.calls, IsEmpty());
}

TEST(LoginItem, disablingItAlwaysUnregisters) {
    FakeLoginItem service;
    LoginItem::setEnabled(service, false);
    service.state = true;
    LoginItem::setEnabled(service, false);
    EXPECT_THAT(service.calls, ElementsAre("unregister", "unregister"));
    EXPECT_FALSE(service.isEnabled());
}

TEST(LoginItem, staysAsItIsWhereThePlatformRefuses) {
    FakeLoginItem service;
    service.fails = true;
    LoginItem::setEnabled(service, true);
    EXPECT_FALSE(service.isEnabled());
    service.state = true;
    LoginItem::setEnabled(service, false);
    EXPECT_TRUE(service.isEnabled());
    EXPECT_THAT(service.calls, ElementsAre("register", "unregister"));
}

}  // namespace
}  // namespace ledgerfern
