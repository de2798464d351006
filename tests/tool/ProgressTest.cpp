#include "Progress.h"

#include <gtest/gtest.h>

#include "Foundation/UnicodeText.h"
#include "tool/TextOutput.h"

namespace ledgerfern {
namespace {

using std::chrono::hours;
using std::chrono::milliseconds;

TEST(Progress, appearsOnATerminalAndGoesAgain) {
    TextOutput terminal(80);
    {
        const Progress progress(terminal, milliseconds(0));
        terminal.waitForText();
        EXPECT_EQ(terminal.text(), "Reading session logs …");
    }
    const std::string blanks(displayWidth("Reading session logs …"), ' ');
    EXPECT_EQ(terminal.text(), "Reading session logs …\r" + blanks + "\r");
}

TEST(Progress, isSilentWhereTheWorkIsShort) {
    TextOutput terminal(80);
    {
        const Progress progress(terminal, hours(1));
    }
    EXPECT_EQ(terminal.text(), "");
}

TEST(Progress, isSilentWhereThereIsNoTerminal) {
    TextOutput pipe;
    {
        const Progress progress(pipe, milliseconds(0));
    }
    EXPECT_EQ(pipe.text(), "");
}

}  // namespace
}  // namespace ledgerfern
