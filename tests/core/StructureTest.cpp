#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <optional>
#include <regex>
#include <sstream>
#include <string>
#include <string_view>
#include <vector>

// The rules of the source tree: what may depend on what, and what lies where. Each rule is a function of a
// file's path and text that returns what is wrong; it is tried on made-up violations first, and then on the
// tree.

namespace ledgerfern {
namespace {

namespace fs = std::filesystem;

using Findings = std::vector<std::string>;

struct SourceFile {
    std::string path;  // relative to the root of the tree, with "/"
    std::string text;
};

/// The core's folders. One may depend on those of a lower rank.
const std::map<std::string, int, std::less<>> coreFolderRanks = {
    {"Foundation", 0}, {"UsageRecords", 1}, {"Parsing", 2}, {"RolloutParser", 3}, {"ClaudeCodeParser", 3},
    {"Analytics", 4},  {"FileCache", 4},    {"History", 5}, {"Engine", 5},        {"ClaudeLimits", 6}};

constexpr std::size_t lineLimit = 450;

std::vector<std::string> lines(const std::string& text) {
    std::istringstream stream(text);
    std::vector<std::string> result;
    for (std::string line; std::getline(stream, line);)
        result.push_back(line);
    return result;
}

std::vector<std::string> parts(const std::string& path) {
    std::vector<std::string> result;
    for (const auto& part : fs::path(path))
        result.push_back(part.string());
    return result;
}

template <class Container>
bool contains(const Container& items, std::string_view item) {
    return std::find(std::begin(items), std::end(items), item) != std::end(items);
}

bool isIn(const SourceFile& file, std::string_view folder) {
    return file.path.starts_with(std::string(folder) + "/");
}

bool isInPlatformFolder(const SourceFile& file) {
    return contains(parts(file.path), "linux") || contains(parts(file.path), "macos");
}

/// What follows the "#" of a preprocessor's line, without white space in front; empty for any other line.
std::string_view directive(std::string_view line) {
    constexpr std::string_view blanks = " \t";
    line.remove_prefix(std::min(line.find_first_not_of(blanks), line.size()));
    if (!line.starts_with('#')) return {};
    line.remove_prefix(1);
    line.remove_prefix(std::min(line.find_first_not_of(blanks), line.size()));
    return line;
}

struct Include {
    std::string path;
    bool isQuoted = false;
};

std::vector<Include> includes(const SourceFile& file) {
    std::vector<Include> result;
    for (const auto& line : lines(file.text)) {
        const auto text = directive(line);
        if (!text.starts_with("include") && !text.starts_with("import")) continue;
        const auto open = text.find_first_of("\"<");
        if (open == std::string_view::npos) continue;
        const auto close = text.find_first_of("\">", open + 1);
        result.push_back({std::string(text.substr(open + 1, close - open - 1)), text[open] == '"'});
    }
    return result;
}

/// The identifiers of a piece of code.
std::vector<std::string> words(std::string_view code) {
    std::vector<std::string> result(1);
    for (const char c : code) {
        const bool isLetter =
            (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
        if (isLetter)
            result.back() += c;
        else
            result.emplace_back();
    }
    return result;
}

/// Absent where the folder is none of the core's.
std::optional<int> rank(std::string_view folder) {
    const auto entry = coreFolderRanks.find(folder);
    if (entry == coreFolderRanks.end()) return std::nullopt;
    return entry->second;
}

/// Within the core a folder includes what is below it, and nothing of the programs that stand on the core.
Findings wrongDirections(const SourceFile& file) {
    if (!isIn(file, "LedgerfernCore")) return {};
    const auto own = parts(file.path)[1];
    Findings findings;
    for (const auto& include : includes(file)) {
        const auto folder = parts(include.path)[0];
        const bool isAllowed = rank(folder) ? folder == own || rank(folder) < rank(own) : !include.isQuoted;
        if (!isAllowed) findings.push_back(file.path + " includes " + include.path);
    }
    return findings;
}

bool isQtHeader(std::string_view path) {
    const bool isClass = path.size() > 1 && path[0] == 'Q' && path[1] >= 'A' && path[1] <= 'Z';
    return isClass || path.starts_with("Qt") || path.starts_with("qt");
}

/// The core, the tool and their tests know no Qt.
Findings qtHeaders(const SourceFile& file) {
    const bool mayUseQt = !isIn(file, "LedgerfernCore") && !isIn(file, "LedgerfernTool") &&
                          !isIn(file, "tests/core") && !isIn(file, "tests/tool");
    Findings findings;
    for (const auto& include : includes(file))
        if (!mayUseQt && isQtHeader(include.path))
            findings.push_back(file.path + " includes " + include.path);
    return findings;
}

bool isPlatformMacro(const std::string& word) {
    static const std::array<std::string_view, 9> macros = {"__APPLE__", "__MACH__",      "__linux__",
                                                           "__linux",   "__gnu_linux__", "__unix__",
                                                           "__unix",    "_WIN32",        "_WIN64"};
    return contains(macros, word) || word.starts_with("TARGET_OS_");
}

/// Which platform it is, is CMake's business; only the platforms' own folders may ask.
Findings platformMacros(const SourceFile& file) {
    if (isInPlatformFolder(file)) return {};
    Findings findings;
    for (const auto& line : lines(file.text))
        for (const auto& word : words(directive(line)))
            if (isPlatformMacro(word)) findings.push_back(file.path + " asks for the platform by " + word);
    return findings;
}

/// The application's colours have names, in one folder.
Findings colourLiterals(const SourceFile& file) {
    static const std::regex literal(
        R"(\bQColor\s*\w*[({]\s*(\d|u?"|Qt::|QStringLiteral)|\bqRgba?\(|"#\w{3,8}")");
    if (!isIn(file, "LedgerfernApp") || isIn(file, "LedgerfernApp/DesignSystem")) return {};
    Findings findings;
    for (const auto& line : lines(file.text))
        if (std::regex_search(line, literal)) findings.push_back(file.path + " has a colour: " + line);
    return findings;
}

bool hasItsPlaceInTheApplication(const std::vector<std::string>& path) {
    static const std::array<std::string_view, 8> screens = {"Application",   "DesignSystem", "Popover",
                                                            "DashboardView", "SessionViews", "Projects",
                                                            "Insights",      "Settings"};
    if (path.size() == 2) return path[1] == "main.cpp";
    return path.size() == 3 && (contains(screens, path[1]) || path[1] == "Services");
}

bool hasItsPlace(std::vector<std::string> path) {
    static const std::array<std::string_view, 7> tests = {"core",  "app",  "views",   "tool",
                                                          "macos", "fuzz", "programs"};
    if (path[0] == "tests") return path.size() > 2 && contains(tests, path[1]);
    if (path[0] == "LedgerfernTool" || path[0] == "bench") return path.size() == 2;
    const bool mayHavePlatforms = path[0] == "LedgerfernCore" || (path.size() > 1 && path[1] == "Services");
    if (mayHavePlatforms && path.size() == 4 && (path[2] == "linux" || path[2] == "macos"))
        path.erase(path.begin() + 2);
    if (path[0] == "LedgerfernCore") return path.size() == 3 && rank(path[1]);
    return path[0] == "LedgerfernApp" && hasItsPlaceInTheApplication(path);
}

/// Every source lies where the build files look for it and a reader would.
Findings wrongPlace(const SourceFile& file) {
    if (hasItsPlace(parts(file.path))) return {};
    return {file.path + " lies outside the tree's folders"};
}

/// A longer file of the core or the tool holds two things, unless it is a table of data.
Findings tooLong(const SourceFile& file) {
    const auto count = lines(file.text).size();
    const bool isLimited = isIn(file, "LedgerfernCore") || isIn(file, "LedgerfernTool");
    if (!isLimited || file.path.ends_with("Table.cpp") || count <= lineLimit) return {};
    return {file.path + " has " + std::to_string(count) + " lines"};
}

TEST(Structure, noticesAnIncludeAgainstTheDirection) {
    const auto of = [](std::string path, std::string text) {
        return wrongDirections({std::move(path), std::move(text)});
    };
    EXPECT_EQ(of("LedgerfernCore/Foundation/Files.h", "#pragma once\n#include \"Engine/Engine.h\"\n"),
              Findings{"LedgerfernCore/Foundation/Files.h includes Engine/Engine.h"});
    EXPECT_EQ(
        of("LedgerfernCore/Parsing/Shell.cpp", "  #  include \"RolloutParser/State.h\"  // why\n").size(),
        1U);
    EXPECT_EQ(of("LedgerfernCore/Engine/Engine.cpp", "#include <ClaudeLimits/ClaudeStatus.h>\n").size(), 1U);
    EXPECT_EQ(of("LedgerfernCore/RolloutParser/A.h", "#include \"ClaudeCodeParser/B.h\"\n").size(), 1U);
    EXPECT_EQ(of("LedgerfernCore/ClaudeCodeParser/A.h", "#include \"RolloutParser/B.h\"\n").size(), 1U);
    EXPECT_EQ(of("LedgerfernCore/Foundation/linux/A.cpp", "#include \"UsageRecords/Records.h\"\n").size(),
              1U);
}

TEST(Structure, noticesACoreThatIncludesItsPrograms) {
    const SourceFile file{"LedgerfernCore/Engine/Engine.cpp",
                          "#include \"CommandLine.h\"\n#include \"LedgerfernApp/Application/AppState.h\"\n"
                          "#include \"../../LedgerfernTool/Table.h\"\n"};
    EXPECT_EQ(wrongDirections(file).size(), 3U);
}

TEST(Structure, allowsIncludesAlongTheDirection) {
    const SourceFile parser{"LedgerfernCore/RolloutParser/State.cpp",
                            "#include \"RolloutParser/State.h\"\n#include <sqlite3.h>\n#include <vector>\n"
                            "#include \"Parsing/LineScanner.h\"\n#include \"UsageRecords/Records.h\"\n"
                            "#include \"Foundation/Check.h\"\n// #include \"Engine/Engine.h\"\n"};
    EXPECT_EQ(wrongDirections(parser), Findings{});
    EXPECT_EQ(wrongDirections({"LedgerfernTool/Report.cpp", "#include \"Engine/Engine.h\"\n"}), Findings{});
}

TEST(Structure, noticesQtInWhatDoesWithoutIt) {
    for (const auto* header : {"QString", "QtCore/QString", "qtimer.h", "QtGlobal"}) {
        const auto text = "#include <" + std::string(header) + ">\n";
        EXPECT_EQ(qtHeaders({"LedgerfernCore/Engine/Engine.h", text}).size(), 1U) << header;
        EXPECT_EQ(qtHeaders({"LedgerfernTool/Report.cpp", text}).size(), 1U) << header;
        EXPECT_EQ(qtHeaders({"tests/core/EngineTest.cpp", text}).size(), 1U) << header;
        EXPECT_EQ(qtHeaders({"LedgerfernApp/main.cpp", text}), Findings{}) << header;
    }
    EXPECT_EQ(
        qtHeaders({"LedgerfernCore/Engine/Engine.h", "#include \"Engine/Queue.h\"\n#include <queue>\n"}),
        Findings{});
}

TEST(Structure, noticesAPlatformMacroOutsideThePlatformFolders) {
    for (const auto* line : {"#ifdef __APPLE__", "#if defined(__linux__) && 1", "  # elif TARGET_OS_OSX",
                             "#ifndef _WIN32", "#define onMac TARGET_OS_MAC"}) {
        EXPECT_EQ(platformMacros({"LedgerfernCore/Foundation/Clock.cpp", line}).size(), 1U) << line;
        EXPECT_EQ(platformMacros({"tests/core/ClockTest.cpp", line}).size(), 1U) << line;
        EXPECT_EQ(platformMacros({"LedgerfernCore/Foundation/linux/FileEvents.cpp", line}), Findings{})
            << line;
        EXPECT_EQ(platformMacros({"LedgerfernApp/Services/macos/LoginItem.mm", line}), Findings{}) << line;
    }
    EXPECT_EQ(platformMacros({"LedgerfernCore/Foundation/Clock.cpp", "#ifdef NDEBUG\nint __linux__free;\n"}),
              Findings{});
}

TEST(Structure, noticesAColourOutsideTheDesignSystem) {
    for (const auto* line :
         {"paint(QColor(0x11, 0x11, 0x14));", "QColor ink{17, 17, 20};", "const QColor ink( 17, 17, 20);",
          "QColor(Qt::white)", "QColor(\"white\")", "QColor(u\"white\")", "f(qRgb(1, 2, 3));",
          "f(qRgba(r, g, b, a));", "setStyleSheet(\"#112233\")"}) {
        EXPECT_EQ(colourLiterals({"LedgerfernApp/Services/StatusIcon.cpp", line}).size(), 1U) << line;
        EXPECT_EQ(colourLiterals({"LedgerfernApp/DesignSystem/TrayColours.h", line}), Findings{}) << line;
        EXPECT_EQ(colourLiterals({"tests/app/StatusIconTest.cpp", line}), Findings{}) << line;
    }
    EXPECT_EQ(colourLiterals({"LedgerfernApp/Services/StatusIcon.cpp",
                              "QColor withOpacity(QColor colour, double opacity) {\n"
                              "fill(Qt::transparent);\nQColor(palette.text());\n"}),
              Findings{});
}

TEST(Structure, noticesASourceThatLiesAstray) {
    for (const auto* path : {"main.cpp", "LedgerfernCore/Check.h", "LedgerfernCore/Utils/Text.cpp",
                             "LedgerfernCore/Engine/windows/Files.cpp", "LedgerfernTool/commands/Report.cpp",
                             "LedgerfernApp/Foo.h", "tests/CheckTest.cpp", "src/Engine.cpp", "bench/a/b.cpp"})
        EXPECT_EQ(wrongPlace({path, ""}).size(), 1U) << path;
    for (const auto* path :
         {"LedgerfernCore/Foundation/Check.h", "LedgerfernCore/Foundation/macos/FileEvents.mm",
          "LedgerfernTool/main.cpp", "LedgerfernApp/main.cpp", "LedgerfernApp/Popover/PopoverViewModel.h",
          "LedgerfernApp/Services/linux/Tray.cpp", "tests/core/CheckTest.cpp",
          "tests/macos/wrong/UnknownClass.mm", "tests/macos/declarations/AppKit/AppKit.h",
          "bench/scan_bench.cpp"})
        EXPECT_EQ(wrongPlace({path, ""}), Findings{}) << path;
}

TEST(Structure, noticesAFileThatHasGrownTooLong) {
    std::string text;
    for (std::size_t i = 0; i < lineLimit; ++i)
        text += "line\n";
    EXPECT_EQ(tooLong({"LedgerfernCore/Engine/Engine.cpp", text}), Findings{});
    text += "one more";
    EXPECT_EQ(tooLong({"LedgerfernCore/Engine/Engine.cpp", text}),
              Findings{"LedgerfernCore/Engine/Engine.cpp has 451 lines"});
    EXPECT_EQ(tooLong({"LedgerfernTool/Report.h", text}).size(), 1U);
    EXPECT_EQ(tooLong({"LedgerfernCore/Analytics/PriceTable.cpp", text}), Findings{});
    EXPECT_EQ(tooLong({"tests/core/EngineTest.cpp", text}), Findings{});
}

bool isSource(const fs::path& path) {
    static const std::array<std::string_view, 4> extensions = {".h", ".cpp", ".mm", ".m"};
    return contains(extensions, path.extension().string());
}

/// Folders that hold no sources of ours: what is hidden, and what a build leaves behind.
bool isForeign(const fs::path& folder) {
    const auto name = folder.filename().string();
    return name.starts_with(".") || name.starts_with("build") || name.starts_with("cmake-build");
}

std::vector<SourceFile> sourceTree() {
    const fs::path root = LEDGERFERN_SOURCE_DIR;
    std::vector<SourceFile> result;
    for (auto entry = fs::recursive_directory_iterator(root); entry != fs::end(entry); ++entry) {
        if (entry->is_directory() && isForeign(entry->path())) entry.disable_recursion_pending();
        if (!entry->is_regular_file() || !isSource(entry->path())) continue;
        std::ifstream stream(entry->path(), std::ios::binary);
        result.push_back({entry->path().lexically_relative(root).generic_string(),
                          {std::istreambuf_iterator<char>(stream), {}}});
    }
    return result;
}

TEST(Structure, theTreeKeepsItsRules) {
    const auto tree = sourceTree();
    EXPECT_TRUE(std::any_of(tree.begin(), tree.end(), [](const SourceFile& file) {
        return file.path == "tests/core/StructureTest.cpp" && file.text.starts_with("#include <gtest");
    })) << "the tree wasn't read";
    for (const auto& file : tree)
        for (const auto rule :
             {wrongDirections, qtHeaders, platformMacros, colourLiterals, wrongPlace, tooLong})
            for (const auto& finding : rule(file))
                ADD_FAILURE() << finding;
}

}  // namespace
}  // namespace ledgerfern
