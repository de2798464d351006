#include "Options.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <iterator>
#include <limits>
#include <map>

#include "Analytics/Aggregates.h"
#include "Foundation/Numbers.h"
#include "Quoted.h"

namespace ledgerfern {

namespace {

using Values = std::map<std::string_view, std::vector<std::string>>;

std::string helpHint(const Usage& usage) {
    return inQuotes("ledgerfern-cli " + std::string(usage.command) + " --help");
}

bool looksLikeOption(std::string_view argument) {
    return argument.size() > 1 && argument.starts_with('-');
}

UsageError unknownOption(const Usage& usage, std::string_view argument) {
    const std::string_view name = argument.substr(0, argument.find('='));
    std::vector<std::string_view> names;
    for (const OptionText& option : usage.options())
        names.push_back(option.name);
    const std::string start = std::string(usage.command) + " has no option " + inQuotes(name) + "; ";
    if (const auto meant = nearMiss(name, names)) return {start + "did you mean " + inQuotes(*meant) + "?"};
    return {start + helpHint(usage) + " lists those it has"};
}

/// Everything that one pass of the parser finds.
struct Parsed {
    Values values;
    std::map<std::string_view, bool> flags;
    std::vector<std::string> rest;  ///< What no option took.
};

/// Runs the parser over arguments that have no "--".
std::variant<Parsed, UsageError> parse(const Usage& usage, std::vector<std::string> arguments) {
    CLI::App app;
    app.set_help_flag("");
    app.allow_extras();
    Parsed parsed;
    for (const OptionText& option : usage.options()) {
        const std::string name(option.name);
        if (option.value.empty())
            app.add_flag(name == "--help" ? "-h,--help" : name, parsed.flags[option.name]);
        else
            app.add_option(name, parsed.values[option.name])->allow_extra_args(false);
    }
    try {
        std::reverse(arguments.begin(), arguments.end());
        app.parse(std::move(arguments));
    } catch (const CLI::ParseError& error) {
        const std::string message = error.what();
        for (const OptionText& option : usage.options()) {
            const std::string name(option.name);
            if (!message.starts_with(name + ":") && message.find(name + " ") == std::string::npos) continue;
            if (option.value.empty()) return UsageError{name + " takes no value"};
            return UsageError{name + " needs a value: " + optionTerm(option)};
        }
        return UsageError{"the options of " + std::string(usage.command) + " can't be read; see " +
                          helpHint(usage)};
    }
    parsed.rest = app.remaining();
    return parsed;
}

/// All values of an option; none where the command doesn't know it.
std::vector<std::string> valuesOf(const Parsed& parsed, std::string_view name) {
    const auto found = parsed.values.find(name);
    return found == parsed.values.end() ? std::vector<std::string>() : found->second;
}

/// False too where the command doesn't know the option.
bool isSet(const Parsed& parsed, std::string_view name) {
    const auto found = parsed.flags.find(name);
    return found != parsed.flags.end() && found->second;
}

/// The value of an option that may be given once.
std::variant<std::optional<std::string>, UsageError> single(const Parsed& parsed, std::string_view name) {
    const auto values = valuesOf(parsed, name);
    if (values.size() > 1)
        return UsageError{std::string(name) + " is given more than once; it takes one value"};
    if (values.empty()) return std::optional<std::string>();
    return std::optional<std::string>(values.front());
}

std::optional<UsageError> takeNow(const Parsed& parsed, Options& options) {
    const auto value = single(parsed, "--now");
    if (const auto* error = std::get_if<UsageError>(&value)) return *error;
    const auto& text = std::get<std::optional<std::string>>(value);
    if (!text) return std::nullopt;
    options.now = readNow(*text);
    if (options.now) return std::nullopt;
    return UsageError{
        "--now " + inQuotes(*text) +
        " is no instant; it takes decimal seconds since 1970 within the years 1 to 9999, such as "
        "1772409600"};
}

std::optional<UsageError> takeRoots(const Parsed& parsed, Options& options) {
    options.codexRoots = valuesOf(parsed, "--codex");
    options.claudeRoots = valuesOf(parsed, "--claude");
    for (const std::string_view option : {"--codex", "--claude"})
        for (const std::string& root : valuesOf(parsed, option))
            if (root.empty()) return UsageError{std::string(option) + " needs the name of a folder"};
    return std::nullopt;
}

/// Takes the value of an option that is any text, if it is given.
std::optional<UsageError> takeText(const Parsed& parsed, std::string_view name,
                                   std::optional<std::string>& text) {
    auto value = single(parsed, name);
    if (auto* error = std::get_if<UsageError>(&value)) return std::move(*error);
    text = std::get<std::optional<std::string>>(std::move(value));
    return std::nullopt;
}

/// A whole number within bounds; untouched where the option isn't given.
template <class Number>
std::optional<UsageError> takeNumber(const Parsed& parsed, std::string_view name, std::int64_t least,
                                     std::int64_t most, Number& number) {
    std::optional<std::string> text;
    if (auto error = takeText(parsed, name, text)) return error;
    if (!text) return std::nullopt;
    const auto value = readInteger(*text);
    if (!value || *value < least || *value > most)
        return UsageError{std::string(name) + " " + inQuotes(*text) +
                          " is out of place; it takes a whole number from " + std::to_string(least) + " to " +
                          std::to_string(most)};
    number = static_cast<std::size_t>(*value);
    return std::nullopt;
}

/// The application's cache belongs to the usual folders, and holds no log as finished.
std::optional<UsageError> takeCache(const Usage& usage, const Parsed& parsed, Options& options) {
    if (auto error = takeText(parsed, "--cache", options.cacheFile)) return error;
    if (options.cacheFile && isSet(parsed, "--no-cache"))
        return UsageError{"--cache and --no-cache exclude each other; give one"};
    if (options.cacheFile && options.cacheFile->empty())
        return UsageError{"--cache needs the name of a file"};
    const bool isUsual = usage.cacheUse == CacheUse::usual && !options.namesRoots() && !options.finish &&
                         !isSet(parsed, "--no-cache");
    options.usesCache = isUsual || (options.cacheFile && usage.cacheUse != CacheUse::never);
    return std::nullopt;
}

bool isScope(const std::string& text) {
    return text == ScopeName::today || text == ScopeName::cycle || text == ScopeName::all ||
           Aggregates::cycleRange(text);
}

/// Looks the value of an option up in a list of words. `wanted` names them.
template <class Value>
std::optional<UsageError> takeWord(const Parsed& parsed, std::string_view name,
                                   const std::map<std::string_view, Value>& words, std::string_view wanted,
                                   std::optional<Value>& value) {
    std::optional<std::string> text;
    if (auto error = takeText(parsed, name, text)) return error;
    if (!text) return std::nullopt;
    const auto found = words.find(*text);
    if (found == words.end())
        return UsageError{std::string(name) + " " + inQuotes(*text) + " is unknown; it takes " +
                          std::string(wanted)};
    value = found->second;
    return std::nullopt;
}

/// How it is shown.
std::optional<UsageError> takeForm(const Parsed& parsed, Options& options) {
    std::optional<SessionOrder> sort;
    if (auto error = takeWord<SessionOrder>(parsed, "--sort",
                                            {{"tokens", SessionOrder::tokens},
                                             {"cost", SessionOrder::cost},
                                             {"recent", SessionOrder::recent},
                                             {"name", SessionOrder::name}},
                                            "tokens, cost, recent or name", sort))
        return error;
    options.sort = sort.value_or(SessionOrder::tokens);
    std::optional<ColorMode> color;
    if (auto error = takeWord<ColorMode>(
            parsed, "--color",
            {{"auto", ColorMode::automatic}, {"always", ColorMode::always}, {"never", ColorMode::never}},
            "auto, always or never", color))
        return error;
    options.color = color.value_or(ColorMode::automatic);
    if (auto error =
            takeWord<StackUnit>(parsed, "--by", {{"day", StackUnit::localDay}, {"week", StackUnit::isoWeek}},
                                "day or week", options.by))
        return error;
    if (auto error = takeText(parsed, "-o", options.outFile)) return error;
    if (options.outFile && options.outFile->empty()) return UsageError{"-o needs the name of a file"};
    options.json = isSet(parsed, "--json");
    return takeNumber(parsed, "--limit", 1, std::numeric_limits<std::int64_t>::max(), options.limit);
}

/// What is counted.
std::optional<UsageError> takeScope(const Parsed& parsed, Options& options) {
    if (auto error = takeText(parsed, "--scope", options.scope)) return error;
    if (options.scope && !isScope(*options.scope))
        return UsageError{"--scope " + inQuotes(*options.scope) +
                          " is no scope; it takes today, cycle, all or the key of a cycle, which " +
                          inQuotes("ledgerfern-cli cycles") + " lists"};
    std::optional<std::string> search;
    if (auto error = takeText(parsed, "--search", search)) return error;
    options.search = search.value_or("");
    if (auto error = takeText(parsed, "--project", options.project)) return error;
    if (auto error = takeText(parsed, "--week", options.week)) return error;
    return takeWord<ToolKind>(parsed, "--tool",
                              {{"codex", ToolKind::codex}, {"claude", ToolKind::claudeCode}},
                              "codex or claude", options.tool);
}

/// What is made up, and how much of it.
std::optional<UsageError> takeDemo(const Parsed& parsed, Options& options) {
    constexpr std::int64_t mostSessions = 5000;
    if (auto error = takeNumber(parsed, "--seed", 0, std::numeric_limits<std::int64_t>::max(), options.seed))
        return error;
    return takeNumber(parsed, "--sessions", 1, mostSessions, options.sessions);
}

std::optional<UsageError> takeOperand(const Usage& usage, const std::vector<std::string>& operands,
                                      Options& options) {
    const std::string command(usage.command);
    const std::size_t wanted = usage.operand.empty() ? 0 : 1;
    if (operands.size() > wanted)
        return UsageError{command + " doesn't take " + inQuotes(operands[wanted]) + "; see " +
                          helpHint(usage)};
    if (operands.size() < wanted || (wanted == 1 && operands[0].empty()))
        return UsageError{command + " needs one argument: ledgerfern-cli " + command + " " +
                          std::string(usage.operand)};
    if (wanted == 1) options.operand = operands[0];
    return std::nullopt;
}

/// The first thing that is wrong, if anything is.
std::optional<UsageError> take(const Usage& usage, const Parsed& parsed,
                               const std::vector<std::string>& operands, Options& options) {
    if (auto error = takeRoots(parsed, options)) return error;
    if (auto error = takeNow(parsed, options)) return error;
    if (auto error = takeScope(parsed, options)) return error;
    if (auto error = takeForm(parsed, options)) return error;
    if (auto error = takeDemo(parsed, options)) return error;
    options.finish = isSet(parsed, "--finish");
    options.defaultPrices = isSet(parsed, "--default-prices");
    if (auto error = takeCache(usage, parsed, options)) return error;
    options.full = isSet(parsed, "--full");
    if (auto error = takeText(parsed, "--status", options.statusFile)) return error;
    if (options.statusFile && options.statusFile->empty())
        return UsageError{"--status needs the name of a file"};
    return takeOperand(usage, operands, options);
}

/// What the option does in a command of that use of the cache.
OptionText forCacheUse(CacheUse use, OptionText option) {
    if (use == CacheUse::named && option.name == "--no-cache")
        option.meaning = "Changes nothing: without --cache, nothing is kept.";
    if (use == CacheUse::never && (option.name == "--cache" || option.name == "--no-cache"))
        option.meaning = "Changes nothing: all logs are read, and nothing is kept.";
    return option;
}

}  // namespace

std::string optionTerm(const OptionText& option) {
    std::string term(option.name);
    if (!option.value.empty()) term.append(" ").append(option.value);
    return term;
}

const std::vector<OptionText>& commonOptions() {
    static const std::vector<OptionText> options = {
        {"--codex", "DIR", "Read Codex logs below DIR; may be given again. Usually ~/.codex/sessions."},
        {"--claude", "DIR",
         "Read Claude Code logs below DIR; may be given again. Usually ~/.claude/projects. With either of "
         "the "
         "two, nothing of the home folder is read."},
        {"--now", "SECONDS", "Take this for the present instant, in seconds since 1970."},
        {"--finish", "", "Take every log for finished, and count what its end holds open."},
        {"--cache", "FILE",
         "Keep in FILE what was read, and take from there what hasn't changed since. One FILE belongs to one "
         "set of folders. The command session does without."},
        {"--no-cache", "",
         "Read all logs, and keep nothing. Without it and without --cache, what was read is kept in the "
         "application's own cache, except with --codex, --claude or --finish, and by session, export, parity "
         "and dump."},
        {"--default-prices", "",
         "Count costs by the built-in list prices. Without it, and without --codex and --claude, those count "
         "that you "
         "have saved in the application."},
        {"--color", "WHEN", "Colour: auto, always or never."},
        {"--help", "", "Explain the command."},
        {"--version", "", "Print the version."},
    };
    return options;
}

std::vector<OptionText> scopeOptions(std::string_view usual) {
    return {{"--scope", "SCOPE",
             usual == ScopeName::all
                 ? "Count today, the current cycle, all, or the cycle of a key that “cycles” lists: today, "
                   "cycle, all or KEY. All without it."
                 : "Count today, the current cycle, all, or the cycle of a key that “cycles” lists: today, "
                   "cycle, all or KEY. The current cycle without it."},
            {"--tool", "AGENT", "Count one agent alone: codex or claude."},
            {"--search", "TEXT",
             "Count only the sessions that have TEXT in their name, project, model or first message."}};
}

std::vector<OptionText> Usage::options() const {
    std::vector<OptionText> all = ownOptions;
    std::copy_if(commonOptions().begin(), commonOptions().end(), std::back_inserter(all),
                 [&](const OptionText& option) {
                     const bool isOwn =
                         std::any_of(ownOptions.begin(), ownOptions.end(),
                                     [&](const OptionText& own) { return own.name == option.name; });
                     if (isOwn || (isLive && (option.name == "--now" || option.name == "--finish")))
                         return false;
                     return scans || option.name == "--help" || option.name == "--version";
                 });
    std::transform(all.begin(), all.end(), all.begin(),
                   [&](const OptionText& option) { return forCacheUse(cacheUse, option); });
    return all;
}

std::optional<Instant> readNow(std::string_view text) {
    constexpr Instant firstOfYear1 = -62135596800.0;
    constexpr Instant firstOfYear10000 = 253402300800.0;
    if (text.find_first_not_of("0123456789.+-") != std::string_view::npos) return std::nullopt;
    const auto value = readDouble(text);
    if (!value || *value < firstOfYear1 || *value >= firstOfYear10000) return std::nullopt;
    return value;
}

std::variant<Options, UsageError> readOptions(const Usage& usage, const std::vector<std::string>& arguments) {
    const auto marker = std::find(arguments.begin(), arguments.end(), "--");
    auto result = parse(usage, {arguments.begin(), marker});
    if (auto* error = std::get_if<UsageError>(&result)) return std::move(*error);
    const Parsed& parsed = std::get<Parsed>(result);
    Options options;
    options.showsHelp = parsed.flags.at("--help");
    options.showsVersion = parsed.flags.at("--version");
    if (options.showsHelp || options.showsVersion) return options;

    std::vector<std::string> operands;
    for (const std::string& argument : parsed.rest) {
        if (looksLikeOption(argument)) return unknownOption(usage, argument);
        operands.push_back(argument);
    }
    if (marker != arguments.end()) operands.insert(operands.end(), marker + 1, arguments.end());
    if (auto error = take(usage, parsed, operands, options)) return std::move(*error);
    return options;
}

}  // namespace ledgerfern
