#include "Analytics/CostEstimator.h"

namespace ledgerfern {

// API list prices: input, cached input, output. The two family names at the end serve any model of the family
// that no longer key matches.
// clang-format off
const PriceMap& CostEstimator::defaults() {
    static const PriceMap rows = {
        {"gpt-6.1-sol", {2.0, 0.1, 10.0}},
        {"gpt-6-sol", {2.0, 0.2, 10.0}},
        {"gpt-6-astra", {10.0, 1.0, 50.0}},
        {"gpt-6", {2.0, 0.2, 10.0}},
        {"gpt-5.6-sol", {4.0, 0.4, 20.0}},
        {"gpt-5.6-terra", {2.0, 0.2, 12.0}},
        {"gpt-5.6-luna", {0.2, 0.02, 1.2}},
        {"gpt-5.5", {5.0, 0.5, 30.0}},
        {"gpt-5.4", {2.5, 0.25, 15.0}},
        {"gpt-5.3", {1.75, 0.175, 14.0}},
        {"gpt-5.2", {1.75, 0.175, 14.0}},
        {"gpt-5.1", {1.25, 0.125, 10.0}},
        {"gpt-5", {1.25, 0.125, 10.0}},
        {"gpt-5-mini", {0.25, 0.025, 2.0}},
        {"gpt-4.1", {2.0, 0.5, 8.0}},
        {"gpt-4.1-mini", {0.4, 0.1, 1.6}},
        {"gpt-4o", {2.5, 1.25, 10.0}},
        {"gpt-4o-mini", {0.15, 0.075, 0.6}},
        {"o3", {2.0, 0.5, 8.0}},
        {"o4-mini", {1.1, 0.275, 4.4}},
        {"codex-mini", {1.5, 0.375, 6.0}},
        {"claude-fable-5-1", {10.0, 0.25, 50.0}},
        {"claude-mythos-5-1", {10.0, 0.25, 50.0}},
        {"claude-fable-5", {10.0, 1.0, 50.0}},
        {"claude-opus-5-5", {4.0, 0.2, 20.0}},
        {"claude-opus-5", {5.0, 0.5, 25.0}},
        {"claude-sonnet-5", {2.0, 0.2, 10.0}},
        {"claude-haiku-5", {0.1, 0.01, 0.5}},
        {"claude-opus-4-8", {5.0, 0.5, 25.0}},
        {"claude-opus-4-7", {5.0, 0.5, 25.0}},
        {"claude-opus-4-6", {5.0, 0.5, 25.0}},
        {"claude-opus-4-5", {5.0, 0.5, 25.0}},
        {"claude-opus-4", {15.0, 1.5, 75.0}},
        {"claude-sonnet-4", {3.0, 0.3, 15.0}},
        {"claude-haiku-4-5", {1.0, 0.1, 5.0}},
        {"claude-haiku-4", {0.8, 0.08, 4.0}},
        {"claude", {2.0, 0.2, 10.0}},
        {"gpt", {2.5, 1.25, 10.0}},
    };
    return rows;
}
// clang-format on

}  // namespace ledgerfern
