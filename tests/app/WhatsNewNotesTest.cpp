#include "Services/WhatsNewNotes.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "Services/WhatsNewPresenter.h"

namespace ledgerfern {
namespace {

using testing::ElementsAre;
using testing::SizeIs;

TEST(WhatsNewNotes, knowsEachReleaseNewestFirst) {
    std::vector<std::string_view> versions;
    for (const auto& release : WhatsNewNotes::releases())
        versions.push_back(release.version);
    EXPECT_THAT(versions, ElementsAre("1.6.0", "1.5.0", "1.4.3", "1.4.2", "1.4.1", "1.4.0", "1.3.1", "1.3.0",
                                      "1.2.1", "1.2.0", "1.1.0", "1.0.2", "1.0.1", "1.0.0"));
}

TEST(WhatsNewNotes, hasOneLineForEachEarlierRelease) {
    for (const auto& release : WhatsNewNotes::releases().subspan(1))
        EXPECT_THAT(WhatsNewNotes::lines(release.version), SizeIs(1)) << release.version;
}

TEST(WhatsNewNotes, hasSeveralLinesForThisVersion) {
    EXPECT_THAT(WhatsNewNotes::lines(WhatsNewPresenter::currentVersion), SizeIs(4));
}

TEST(WhatsNewNotes, saysLittleOfAVersionThatItDoesNotKnow) {
    for (const auto* version : {"1.6.1", "1.6", "", "v1.6.0"})
        EXPECT_THAT(WhatsNewNotes::lines(version), ElementsAre("Bug fixes and improvements.")) << version;
}

TEST(WhatsNewNotes, everyLineIsASentenceOfItsOwn) {
    for (const auto& release : WhatsNewNotes::releases())
        for (const auto line : release.lines)
            EXPECT_TRUE(line.ends_with('.')) << line;
}

}  // namespace
}  // namespace ledgerfern
