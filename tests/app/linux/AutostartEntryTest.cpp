#include "Services/linux/AutostartEntry.h"

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <algorithm>

#include "Services/LoginItem.h"
#include "core/FileFixture.h"

namespace ledgerfern {
namespace {

using testing::ElementsAre;

class AutostartEntryTest : public FileFixture {
protected:
    /// A program that can be run.
    std::string program(const std::string& name) const {
        const auto script = write(name, "#!/bin/sh\n");
        ::chmod(script.c_str(), 0755);
        return script;
    }
    AutostartEntry entryOf(const std::string& command) const { return {path("config/autostart"), command}; }
    std::string written() const { return read(file); }
    /// Whether an entry with such lines behind the usual ones counts as enabled.
    bool isEnabledWith(const std::string& lines) const {
        write(file, "[Desktop Entry]\nType=Application\nExec=ledgerfern\n" + lines);
        return entry.isEnabled();
    }
    std::string line(const std::string& key) const {
        const auto text = written();
        const auto start = text.find("\n" + key + "=") + key.size() + 2;
        return text.substr(start, text.find('\n', start) - start);
    }

    const std::string file = "config/autostart/ledgerfern.desktop";
    const std::string executable = program("bin/ledgerfern");
    AutostartEntry entry = entryOf(executable);
};

TEST_F(AutostartEntryTest, isMadeWithItsFolder) {
    EXPECT_FALSE(entry.isEnabled());
    EXPECT_TRUE(entry.registerItem());
    EXPECT_TRUE(entry.isEnabled());
    EXPECT_EQ(written(),
              "[Desktop Entry]\nType=Application\nName=Ledgerfern\nComment=Usage of Codex and Claude Code\n"
              "Icon=ledgerfern\nTerminal=false\nExec=\"" +
                  executable + "\"\nTryExec=" + executable + "\n");
    EXPECT_THAT(namesIn(path("config/autostart")), ElementsAre("ledgerfern.desktop"));
}

TEST_F(AutostartEntryTest, isRemovedAndNothingElse) {
    write("config/autostart/other.desktop", "[Desktop Entry]\n");
    EXPECT_TRUE(entry.registerItem());
    EXPECT_TRUE(entry.unregisterItem());
    EXPECT_FALSE(entry.isEnabled());
    EXPECT_THAT(namesIn(path("config/autostart")), ElementsAre("other.desktop"));
}

TEST_F(AutostartEntryTest, canBeRemovedWhereThereIsNone) {
    EXPECT_TRUE(entry.unregisterItem());
    EXPECT_THAT(names(), ElementsAre("bin"));
}

TEST_F(AutostartEntryTest, takesThePlaceOfOneThatIsSwitchedOff) {
    EXPECT_FALSE(isEnabledWith("Hidden=true\n"));
    EXPECT_TRUE(entry.registerItem());
    EXPECT_TRUE(entry.isEnabled());
}

TEST_F(AutostartEntryTest, isEnabledUnlessItIsSwitchedOff) {
    EXPECT_TRUE(isEnabledWith(""));
    EXPECT_TRUE(isEnabledWith("Hidden=false\nX-GNOME-Autostart-enabled=true\n"));
    EXPECT_FALSE(isEnabledWith("Hidden=true\n"));
    EXPECT_FALSE(isEnabledWith("X-GNOME-Autostart-enabled=false\n"));
    EXPECT_FALSE(isEnabledWith("X-GNOME-Autostart-enabled = false \r\n"));
    EXPECT_FALSE(isEnabledWith("Hidden=true"));
}

TEST_F(AutostartEntryTest, readsOnlyTheGroupThatDescribesTheEntry) {
    EXPECT_TRUE(isEnabledWith("[Desktop Action New]\nHidden=true\n"));
    EXPECT_TRUE(isEnabledWith("# Hidden=true\n"));
    EXPECT_FALSE(isEnabledWith("[Desktop Action New]\nName=New\n\n[Desktop Entry]\nHidden=true\n"));
}

TEST_F(AutostartEntryTest, isNotEnabledWithoutACommand) {
    for (const std::string text :
         {"", "[Desktop Entry]\nType=Application\n", "Exec=ledgerfern\n",
          "[Desktop Action New]\nExec=ledgerfern\n", "\xff\0=[", "[Desktop Entry]\n\\"}) {
        write(file, text);
        EXPECT_FALSE(entry.isEnabled()) << text;
    }
}

TEST_F(AutostartEntryTest, isNotEnabledWhereItsProgramIsGone) {
    const auto moved = program("old place/ledgerfern");
    EXPECT_TRUE(entryOf(moved).registerItem());
    EXPECT_TRUE(entry.isEnabled());
    std::filesystem::remove(moved);
    EXPECT_FALSE(entry.isEnabled());
    EXPECT_TRUE(entry.registerItem());
    EXPECT_TRUE(entry.isEnabled());
}

TEST_F(AutostartEntryTest, quotesItsCommand) {
    const auto command = [this](const std::string& name) {
        EXPECT_TRUE(entryOf("/p/" + name).registerItem());
        return line("Exec");
    };
    EXPECT_EQ(command("ledgerfern"), R"("/p/ledgerfern")");
    EXPECT_EQ(command("my files/l"), R"("/p/my files/l")");
    EXPECT_EQ(command("100% l"), R"("/p/100%% l")");
    EXPECT_EQ(command("a\"b"), R"("/p/a\\"b")");
    EXPECT_EQ(command("a'b"), R"("/p/a'b")");
    EXPECT_EQ(command("a$b`c"), R"("/p/a\\$b\\`c")");
    EXPECT_EQ(command(R"(a\b)"), R"("/p/a\\\\b")");
    EXPECT_EQ(command("a\nb\tc\rd"), R"("/p/a\nb\tc\rd")");
    EXPECT_EQ(command("blätter"), R"("/p/blätter")");
}

TEST_F(AutostartEntryTest, findsItsProgramUnderAnyName) {
    for (const std::string name : {"a b", "100%", "a\"b", "a'b", "$a`b", R"(a\b\n)", "a\nb\tc\rd", " a"}) {
        auto item = entryOf(program("bin/" + name + "/ledgerfern"));
        EXPECT_TRUE(item.registerItem()) << name;
        EXPECT_TRUE(item.isEnabled()) << name;
        EXPECT_EQ(std::ranges::count(written(), '\n'), 8) << name;
    }
}

TEST_F(AutostartEntryTest, isNotMadeForAProgramThatIsNotKnown) {
    EXPECT_FALSE(entryOf("").registerItem());
    EXPECT_THAT(names(), ElementsAre("bin"));
}

TEST_F(AutostartEntryTest, isNotMadeWhereThatCanNotBeDone) {
    write("config", "no folder");
    EXPECT_FALSE(entry.registerItem());
    EXPECT_FALSE(entry.isEnabled());
    EXPECT_FALSE(entry.unregisterItem());
    EXPECT_EQ(read("config"), "no folder");
}

TEST_F(AutostartEntryTest, aFolderInItsPlaceStays) {
    makeFolder(file);
    EXPECT_FALSE(entry.isEnabled());
    EXPECT_FALSE(entry.unregisterItem());
    EXPECT_FALSE(entry.registerItem());
    EXPECT_THAT(namesIn(path("config/autostart")), ElementsAre("ledgerfern.desktop"));
}

TEST_F(AutostartEntryTest, liesInTheConfigurationFolder) {
    const EnvironmentVariable home("HOME", "/home/fern");
    {
        const EnvironmentVariable chosen("XDG_CONFIG_HOME", "/elsewhere/config");
        EXPECT_EQ(AutostartEntry::defaultFolder(), "/elsewhere/config/autostart");
    }
    for (const auto& invalid : {std::optional<std::string>(), {""}, {"relative/config"}}) {
        const EnvironmentVariable chosen("XDG_CONFIG_HOME", invalid);
        EXPECT_EQ(AutostartEntry::defaultFolder(), "/home/fern/.config/autostart");
    }
}

TEST_F(AutostartEntryTest, thePlatformsStartsTheProgram) {
    const EnvironmentVariable chosen("XDG_CONFIG_HOME", path("config"));
    const auto item = platformLoginItem(executable);
    EXPECT_FALSE(item->isEnabled());
    EXPECT_TRUE(item->registerItem());
    EXPECT_TRUE(item->isEnabled());
    EXPECT_EQ(line("TryExec"), executable);
    EXPECT_TRUE(item->unregisterItem());
    EXPECT_FALSE(item->isEnabled());
}

}  // namespace
}  // namespace ledgerfern
