#include "DemoActions.h"

namespace ledgerfern {

namespace {

constexpr std::string_view files[] = {
    "src/checkout/cart.ts",
    "src/checkout/voucher.ts",
    "src/api/orders.py",
    "src/api/errors.py",
    "src/main.rs",
    "src/parser/lexer.rs",
    "src/store/migrations.sql",
    "src/ui/Chart.tsx",
    "src/ui/Settings.tsx",
    "lib/format.ts",
    "lib/money.ts",
    "lib/clock.ts",
    "tests/checkout_test.py",
    "tests/test_rounding.py",
    "tests/parser.rs",
    "docs/decisions.md",
    "docs/LAYOUT.TXT",
    "config/production.yaml",
    "scripts/backfill.py",
    "scripts/release.sh",
    "app/map/Viewport.kt",
    "app/onboarding/Page.kt",
    "README.md",
    "package.json",
};
constexpr std::string_view words[] = {
    "total",   "voucher", "invoice",  "currency", "viewport", "region",  "garden", "order",
    "receipt", "budget",  "customer", "session",  "token",    "request", "ledger", "record",
    "stock",   "payment", "tile",     "frame",    "sample",   "epoch",   "layout", "field",
};

void replaceAll(std::string& text, std::string_view mark, const auto& made) {
    for (std::size_t at = text.find(mark); at != std::string::npos; at = text.find(mark, at)) {
        const std::string value = made();
        text.replace(at, mark.size(), value);
        at += value.size();
    }
}

struct Share {
    DemoActionKind kind;
    std::int64_t percent;
};

constexpr Share shares[] = {
    {DemoActionKind::mcp, 38},   {DemoActionKind::shell, 31},    {DemoActionKind::tool, 22},
    {DemoActionKind::search, 2}, {DemoActionKind::scripting, 2}, {DemoActionKind::say, 5},
};

}  // namespace

DemoActionKind pickAction(DemoRandom& random) {
    std::int64_t left = random.between(0, 99);
    for (const Share& share : shares) {
        if (left < share.percent) return share.kind;
        left -= share.percent;
    }
    return DemoActionKind::say;
}

std::string_view pickFile(DemoRandom& random) {
    return random.pick(files);
}

std::string filledIn(std::string_view text, DemoRandom& random) {
    std::string result(text);
    replaceAll(result, "{f}", [&] { return std::string(random.pick(files)); });
    replaceAll(result, "{w}", [&] { return std::string(random.pick(words)); });
    replaceAll(result, "{n}", [&] { return std::to_string(random.between(2, 480)); });
    return result;
}

std::string filledInLines(std::span<const std::string_view> templates, std::int64_t count,
                          DemoRandom& random) {
    std::string text;
    for (std::int64_t i = 0; i < count; ++i) {
        if (i > 0) text += '\n';
        text += filledIn(random.pick(templates), random);
    }
    return text;
}

}  // namespace ledgerfern
