#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "Analytics/Stacks.h"
#include "UsageRecords/Records.h"

namespace ledgerfern {

enum class SessionOrder { tokens, cost, recent, name };
enum class ColorMode { automatic, always, never };

/// What a command was asked for.
struct Options {
    std::vector<std::string> codexRoots;  ///< As given.
    std::vector<std::string> claudeRoots;
    std::optional<Instant> now;  ///< The present instant; absent: the clock's.
    bool finish = false;
    bool usesCache = false;                ///< The file cache is read and written.
    std::optional<std::string> cacheFile;  ///< Absent: the application's own.
    bool defaultPrices = false;
    ColorMode color = ColorMode::automatic;
    bool full = false;                      ///< `dump` alone.
    std::optional<std::string> statusFile;  ///< `dump` alone: where Claude's limits are read.
    std::optional<std::string> scope;  ///< One of `ScopeName`, or a number; absent: the command's usual one.
    std::optional<ToolKind> tool;      ///< Absent: both.
    std::string search;                ///< Empty: everything.
    std::optional<std::string> project;  ///< `dump` alone: the project whose page is derived.
    std::optional<std::string> week;     ///< `dump` alone: the ISO week key that the page is derived with.
    bool json = false;                   ///< One document instead of a text for people.
    SessionOrder sort = SessionOrder::tokens;  ///< `sessions` alone.
    std::optional<std::size_t> limit;          ///< `sessions` alone: the most that are listed; absent: all.
    std::optional<StackUnit> by;               ///< `daily` alone; absent: as the scope has it.
    std::optional<std::string> outFile;        ///< `export` alone; absent: standard output.
    std::uint64_t seed = 1;                    ///< `demo` alone.
    std::size_t sessions = 120;                ///< `demo` alone: how many to make up.
    std::string operand;  ///< The command's one operand: a session's path or id, a name, or a folder.
    bool showsHelp = false;
    bool showsVersion = false;

    /// False where the home folder's logs are meant.
    bool namesRoots() const { return !codexRoots.empty() || !claudeRoots.empty(); }
};

/// The scopes that have a name; others are cycle keys.
namespace ScopeName {
inline constexpr std::string_view today = "today";
inline constexpr std::string_view cycle = "cycle";
inline constexpr std::string_view all = "all";
}  // namespace ScopeName

/// What an option is called, and how it is explained.
struct OptionText {
    std::string_view name;
    std::string_view value;  ///< What its value is called; empty for one that takes none.
    std::string_view meaning;
};

/// The option as it is written: its name, and its value's.
std::string optionTerm(const OptionText& option);

/// The options that every command knows, in the order in which they are explained.
const std::vector<OptionText>& commonOptions();

/// The options that choose what is counted; without them, that is the scope `usual` of both agents.
std::vector<OptionText> scopeOptions(std::string_view usual);

/// When a command uses the file cache.
enum class CacheUse {
    usual,  ///< On the usual folders, without an option that says otherwise, and when a file is named.
    named,  ///< When a file is named.
    never
};

/// What a command knows of its arguments.
struct Usage {
    std::string_view command;
    std::vector<OptionText> ownOptions;
    std::string_view operand;  ///< What its one operand is called; empty where it takes none.
    bool scans = true;         ///< It reads logs; otherwise it knows few of the common options.
    CacheUse cacheUse = CacheUse::usual;
    bool isLive = false;  ///< It follows the logs as they grow, at the present instant alone.

    /// Its own options, then the common ones that it doesn't explain by itself.
    std::vector<OptionText> options() const;
};

/// One sentence that says what is wrong and what would be right.
struct UsageError {
    std::string sentence;
};

/// The options that the arguments ask for. Where help or the version is asked for, nothing else is looked at.
std::variant<Options, UsageError> readOptions(const Usage& usage, const std::vector<std::string>& arguments);

/// The instant of a "--now": decimal, with a sign and a fraction if wanted, within the years 1 to 9999;
/// absent for anything else.
std::optional<Instant> readNow(std::string_view text);

/// The candidate that a mistyped word is likely to mean; absent where none is near.
std::optional<std::string_view> nearMiss(std::string_view word,
                                         const std::vector<std::string_view>& candidates);

}  // namespace ledgerfern
