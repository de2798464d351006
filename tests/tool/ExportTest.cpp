#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "Foundation/Files.h"
#include "tool/ToolProcess.h"
#include "tool/UsageLogs.h"

namespace ledgerfern {
namespace {

namespace fs = std::filesystem;
using testing::HasSubstr;
using testing::StartsWith;

constexpr const char* heading =
    "Name,Project,Tool,Model,Requests,Input Tokens,Cached Input,Output Tokens,Reasoning Tokens,Total "
    "Tokens,First Message,Started,Last Active\n";

class Export : public UsageLogs {};

TEST_F(Export, writesAllSessionsAsATable) {
    EXPECT_EQ(
        text({"export", "csv"}),
        heading +
            std::string(
                R"("web-app","web-app","claude","claude-opus-4",1,5,0,3,0,8,"","2026-03-02 09:00","2026-03-02 09:00"
"Fix the login page","web-app","codex","gpt-5",2,3000,1400,150,0,3150,"Fix the login page","2026-03-01 10:00","2026-03-01 10:02"
"scripts","scripts","codex","",2,20,0,10,0,30,"","2026-02-20 09:00","2026-02-24 09:00"
)"));
}

TEST_F(Export, narrowsByTheScope) {
    EXPECT_EQ(text({"export", "csv", "--scope", "cycle", "--search", "scripts"}),
              heading + std::string(R"("scripts","scripts","codex","",1,20,0,10,0,30,"",)"
                                    R"("2026-02-20 09:00","2026-02-24 09:00")"
                                    "\n"));
    EXPECT_EQ(text({"export", "csv", "--search", "nothing"}), heading);
    EXPECT_EQ(text({"export", "csv", "--scope", "604800"}), heading);
}

TEST_F(Export, writesADocument) {
    const nlohmann::json all = document({"export", "json"});
    EXPECT_EQ(all["all_time"], true);
    EXPECT_EQ(all["generated_at"], 1772452800.0);
    ASSERT_EQ(all["sessions"].size(), 3u);
    EXPECT_EQ(all["sessions"][0]["name"], "Fix the login page");  // most tokens first
    const nlohmann::json today = document({"export", "json", "--scope", "today"});
    EXPECT_EQ(today["all_time"], false);
    EXPECT_EQ(today["sessions"].size(), 1u);
}

TEST_F(Export, writesADocumentOfWholeSessionsWhateverTheScope) {
    const nlohmann::json narrowed =
        document({"export", "json", "--scope", "cycle", "--search", "scripts"})["sessions"];
    ASSERT_EQ(narrowed.size(), 1u);
    EXPECT_EQ(narrowed[0]["requests"], 2);
    EXPECT_EQ(narrowed[0]["totals"]["total_tokens"], 30);
}

TEST_F(Export, writesADocumentAsTheApplicationDoes) {
    // Without a line feed at the end.
    EXPECT_EQ(text({"export", "json", "--search", "nothing"}),
              "{\n  \"all_time\": true,\n  \"generated_at\": 1772452800,\n  \"sessions\": []\n}");
}

TEST_F(Export, writesIntoAFileWhatItWouldPrint) {
    const std::string file = folder.path("out file.csv");
    EXPECT_EQ(text({"export", "csv", "-o", file}), "");
    EXPECT_EQ(readWholeFile(file), text({"export", "csv"}));
    EXPECT_EQ(text({"export", "json", "-o", file}), "");
    EXPECT_EQ(readWholeFile(file), text({"export", "json"}));
}

TEST_F(Export, followsALinkAndKeepsIt) {
    const std::string file = folder.write("real.csv", "old"), link = folder.path("link.csv");
    fs::create_symlink(file, link);
    EXPECT_EQ(text({"export", "csv", "-o", link}), "");
    EXPECT_TRUE(fs::is_symlink(link));
    EXPECT_EQ(readWholeFile(file), text({"export", "csv"}));
}

TEST_F(Export, makesTheFileThatALinkToNothingMeans) {
    const std::string link = folder.path("link.csv");
    fs::create_symlink("folder/../new.csv", link);
    fs::create_directory(folder.path("folder"));
    fs::create_symlink(link, folder.path("second.csv"));
    EXPECT_EQ(text({"export", "csv", "-o", folder.path("second.csv")}), "");
    EXPECT_TRUE(fs::is_symlink(link));
    EXPECT_EQ(readWholeFile(folder.path("new.csv")), text({"export", "csv"}));
}

TEST_F(Export, keepsWhoMayReadTheFile) {
    const std::string file = folder.write("mine.csv", "old");
    ::chmod(file.c_str(), 0600);
    EXPECT_EQ(text({"export", "csv", "-o", file}), "");
    EXPECT_EQ(fs::status(file).permissions(), fs::perms::owner_read | fs::perms::owner_write);
    EXPECT_EQ(readWholeFile(file), text({"export", "csv"}));
}

TEST_F(Export, leavesTheOldFileWhereTheDiskTakesNoMore) {
    const std::string file = folder.write("out/all.csv", "old");
    ToolRun tool;
    tool.arguments = {"export", "csv", "--codex", folder.path("codex"), "-o", file};
    tool.environment = {{"HOME", folder.path()}, {"TZ", "UTC"}};
    tool.mostFileBytes = 100;
    const ToolOutcome outcome = runTool(tool);
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err, "ledgerfern-cli: can't write “" + file + "”: File too large\n");
    EXPECT_EQ(readWholeFile(file), "old");
    EXPECT_EQ(std::distance(fs::directory_iterator(folder.path("out")), fs::directory_iterator()), 1);
}

TEST_F(Export, failsWholeWhereTheFileCannotBeWritten) {
    for (const std::string& file : {folder.path("no/such/folder.csv"), folder.path("codex")}) {
        const Outcome outcome = run({"export", "csv", "-o", file});
        EXPECT_EQ(outcome.status, 1);
        EXPECT_EQ(outcome.out, "");
        EXPECT_THAT(outcome.err, HasSubstr(file));
        EXPECT_EQ(std::count(outcome.err.begin(), outcome.err.end(), '\n'), 1);
    }
    EXPECT_TRUE(fs::is_directory(folder.path("codex")));
}

TEST_F(Export, leavesAFileInAReadOnlyFolderAsItIs) {
    if (::geteuid() == 0) GTEST_SKIP() << "root may write everywhere";
    const std::string file = folder.write("locked/a.csv", "old");
    ::chmod(folder.path("locked").c_str(), 0500);
    EXPECT_EQ(run({"export", "csv", "-o", file}).status, 1);
    ::chmod(folder.path("locked").c_str(), 0700);
    EXPECT_EQ(readWholeFile(file), "old");
}

TEST_F(Export, writesToADeviceAndDoesNotReplaceIt) {
    if (!fs::exists("/dev/full")) GTEST_SKIP() << "this system has no full device";
    const Outcome outcome = run({"export", "csv", "-o", "/dev/full"});
    EXPECT_EQ(outcome.status, 1);
    EXPECT_EQ(outcome.err, "ledgerfern-cli: can't write “/dev/full”: No space left on device\n");
    EXPECT_TRUE(fs::is_character_file("/dev/full"));
    EXPECT_EQ(run({"export", "csv", "-o", "/dev/null"}).status, 0);
    EXPECT_TRUE(fs::is_character_file("/dev/null"));
}

TEST_F(Export, refusesOtherFormats) {
    EXPECT_EQ(run({"export", "xml"}).err,
              "ledgerfern-cli: export has no format “xml”; it takes csv or json\n");
    EXPECT_EQ(run({"export", "xml"}).status, 2);
    EXPECT_THAT(run({"export"}).err, StartsWith("ledgerfern-cli: export needs one argument: "));
    EXPECT_EQ(run({"export", "csv", "-o", ""}).err, "ledgerfern-cli: -o needs the name of a file\n");
    EXPECT_THAT(run({"export", "csv", "-o", "a", "-o", "b"}).err, HasSubstr("-o is given more than once"));
}

}  // namespace
}  // namespace ledgerfern
