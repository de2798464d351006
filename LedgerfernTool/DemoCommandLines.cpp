#include "DemoActions.h"

namespace ledgerfern {

namespace {

using Lines = const std::string_view[];

constexpr Lines tests = {"PASS {f} ({n} ms)",
                         "  ok {n} {w} keeps its {w}",
                         "  ok {n} refuses an empty {w}",
                         "FAIL {f}: expected {n}, got {n}",
                         "{n} passed, {n} skipped",
                         "test {w}::{w}_round_trip ... ok"};
constexpr Lines builds = {"   Compiling {w}-core v0.{n}.1", "[{n}%] Building {f}",
                          "warning: unused variable {w}", "  --> {f}:{n}:9", "    Finished in {n} s"};
constexpr Lines status = {" M {f}", "?? {f}", "A  {f}", "On branch main, {n} commits ahead"};
constexpr Lines diffs = {"diff --git a/{f} b/{f}", "@@ -{n},7 +{n},9 @@", "-    const {w} = {w} * {n};",
                         "+    const {w} = roundedHalfUp({w} * {n});", "     return {w};"};
constexpr Lines history = {"{n}f3a9c {w}: say why the {w} is kept", "{n}b71d0 Mend the {w} of a late {w}"};
constexpr Lines code = {"export function {w}Of({w}: number): number {",
                        "    const {w} = {w} + {n};",
                        "    if ({w} === undefined) return {n};",
                        "    return {w}.map(({w}) => {w}.{w});",
                        "}",
                        "    // The {w} comes first, since the {w} depends on it.",
                        "def {w}_of({w}: int) -> int:",
                        "    raise ValueError(f\"no {w} for {{w}}\")",
                        "    fn {w}(&self) -> Option<u64> {"};
constexpr Lines matches = {"{f}:{n}:    const {w} = {w}.{w};",
                           "{f}:{n}:def {w}_of({w}):", "{f}:{n}:    {w}: {w},"};
constexpr Lines listing = {"-rw-r--r--  1 mira  staff  {n}21 {f}", "drwxr-xr-x  {n} mira  staff  320 {w}"};
constexpr Lines quiet = {"", "done"};
constexpr Lines web = {"HTTP/2 200", "content-type: application/json", "{\"{w}\": {n}, \"{w}\": \"{w}\"}"};
constexpr Lines packages = {"added {n} packages in {n} s", "Collecting {w}-tools",
                            "Successfully installed {w}-1.{n}"};
constexpr Lines processes = {"mira  {n}1  0.{n}  {f}", "mira  {n}7  1.{n}  node {f}"};
constexpr Lines numbers = {"{w}: {n}.{n}", "{w} {n} of {n}", "epoch {n}: loss 0.{n}, accuracy 0.{n}"};

// clang-format off
constexpr DemoCommandLine commandLines[] = {
    {"npm test -- --run", tests}, {"pytest -q tests", tests}, {"cargo test --workspace", tests}, {"npx vitest run", tests},
    {"vitest run src/checkout", tests}, {"jest --ci", tests},
    {"cargo build", builds}, {"cmake --build build", builds}, {"make -j4", builds}, {"gradle assembleDebug", builds},
    {"swift build", builds},
    {"git status --short", status}, {"git diff --stat", diffs}, {"git diff HEAD~1", diffs}, {"git log --oneline -20", history},
    {"git commit -am \"Round line items half up\"", history}, {"git push origin HEAD", quiet}, {"git show HEAD", diffs},
    {"rg -n \"{w}Of\" src", matches}, {"grep -rn \"{w}\" src | head -40", matches}, {"sed -n '1,160p' {f}", code},
    {"cat {f}", code}, {"head -60 {f}", code}, {"ls -la src", listing}, {"find . -name \"*.sql\"", listing}, {"wc -l {f}", numbers},
    {"mkdir -p build/{w}", quiet}, {"mv {f} {f}", quiet}, {"rm -rf build/cache", quiet}, {"chmod +x scripts/release.sh", quiet},
    {"curl -sS http://localhost:8080/{w}", web}, {"ssh staging uptime", numbers}, {"dig +short api.example.com", numbers},
    {"npm install", packages}, {"pnpm add {w}-tools", packages}, {"pip install -r requirements.txt", packages}, {"brew install jq", packages},
    {"npm run lint", builds}, {"yarn build", builds},
    {"python3 scripts/backfill.py --dry-run", numbers}, {"node scripts/{w}.js", numbers}, {"ruby -e 'puts {n}'", numbers},
    {"ps aux", processes}, {"kill {n}", quiet}, {"open build/report.html", quiet}, {"uname -a", numbers},
    {"docker compose up -d", builds}, {"terraform plan", diffs}, {"psql -c 'select count(*) from {w}'", numbers},
    {"cd src && ls", listing}, {"RUST_LOG=debug cargo run", numbers}, {"[ -f .env ] || cp .env.example .env", quiet},
};

constexpr std::string_view page[] = {
    "- generic [ref=e{n}]: {w} {w}", "  - button \"Save the {w}\" [ref=e{n}] [cursor=pointer]",
    "    - textbox \"{w}\" [ref=e{n}]: {n}", "  - link \"All {w}s\" [ref=e{n}]: /url: /{w}/{n}",
    "    - heading \"{w} {n}\" [level=2] [ref=e{n}]", "    - img \"{w}\" [ref=e{n}]",
    "  - row \"{w} {n} {w}\" [ref=e{n}]", "    - cell \"{n}.{n}\" [ref=e{n}]"};
constexpr std::string_view console[] = {"[warn] {f}:{n} {w} is deprecated", "[log] {w} took {n} ms", "[error] GET /{w} 40{n}"};
constexpr std::string_view rows[] = {"{n} | {w} | {w} | {n}.{n}", "{n} | {w} | null | {n}.{n}"};
constexpr std::string_view issue[] = {"#{n} {w}: {w} is wrong after {w}", "  opened by a customer, {n} comments",
                                      "  \"The {w} shows {n}, but the {w} says {n}.\""};

constexpr DemoServerTool browserTools[] = {
    {"browser", "snapshot", "depth", "full", 26, page},
    {"browser", "navigate", "url", "http://localhost:3000/{w}", 20, page},
    {"browser", "click", "target", "Save the {w}", 18, page},
    {"browser", "console_messages", "level", "warn", 14, console},
};
constexpr DemoServerTool otherServerTools[] = {
    {"postgres", "query", "sql", "select * from {w} order by id desc limit 20", 8, rows},
    {"issues", "search", "query", "{w} wrong after {w}", 6, issue},
    {"issues", "read", "number", "{n}", 5, issue},
};

constexpr std::string_view remarkTexts[] = {
    "I'll look at how the {w} is computed first.", "The {w} comes from {f}, so that's where I start.",
    "Found it: the {w} is rounded twice. Let me confirm with a test.", "That test fails as expected. Now the fix.",
    "The build is green again; one more look at {f}.", "Before I change anything, I check who else uses the {w}.",
    "There are {n} call sites. Most only read the {w}.", "I keep the old name, so that the diff stays small."};
constexpr std::string_view summaryTexts[] = {
    "Done. The {w} is now computed in one place, in {f}, and the tests cover the empty {w} as well.",
    "The cause was in {f}: the {w} was read before the {w} had been saved. I moved the call and added a test.",
    "All {n} tests pass. I left the {w} alone, since the mobile client still depends on it.",
    "Here is what I found: {n} of the {n} requests wait for the {w}. An index on {w} brings that down to {n} ms.",
    "I've split the file into three. No behaviour changed; the diff is only moves."};
constexpr std::string_view thoughtTexts[] = {
    "The {w} looks right, but the {w} doesn't. Let me look at {f}.",
    "If the {w} is empty, the loop never runs, and the {w} keeps its old value. That could be it.",
    "There might be a simpler way: keep the {w} and drop the {w}.",
    "The test in {f} expects {n}. I should find out where that number comes from."};
constexpr std::string_view errandTexts[] = {
    "Find every place where the {w} is written, and tell me which of them run inside a transaction.",
    "Review the change in {f}. Only report defects that you can back with a failing input.",
    "Read {f} and {f} and describe how a {w} gets from one to the other.",
    "Search the history for the commit that introduced the {w} and summarise why it was done.",
    "Check all tests below tests/ for hidden dependencies on the order in which they run."};
// clang-format on

}  // namespace

const DemoCommandLine& pickCommandLine(DemoRandom& random) {
    return random.pick(commandLines);
}

const DemoServerTool& pickServerTool(DemoRandom& random) {
    if (random.chance(90)) return random.pick(browserTools);
    return random.pick(otherServerTools);
}

std::span<const std::string_view> codeLines() {
    return code;
}
std::span<const std::string_view> remarks() {
    return remarkTexts;
}
std::span<const std::string_view> summaries() {
    return summaryTexts;
}
std::span<const std::string_view> thoughts() {
    return thoughtTexts;
}
std::span<const std::string_view> errands() {
    return errandTexts;
}

}  // namespace ledgerfern
