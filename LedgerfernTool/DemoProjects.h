#pragma once

#include <cstdint>
#include <span>
#include <string_view>

namespace ledgerfern {

/// What somebody asks an agent to do.
struct DemoTask {
    std::string_view prompt;
    std::string_view title;
};

/// A made-up project, and how the agents fare in it.
struct DemoProject {
    std::string_view name;
    std::string_view branch;
    std::int64_t codexStartup;   ///< Tokens of the prompt before the user has said a word.
    std::int64_t claudeStartup;  ///< The same with Claude Code.
    std::int64_t cachePercent;   ///< How much of the previous prompt the cache still has, as a rule.
    std::span<const DemoTask> tasks;
    std::span<const std::string_view> followUps;  ///< What the user says next.
};

/// Their places in the list of projects, where a session needs a certain one.
enum DemoPlace : std::size_t { storefront, invoices, mobile, lowCache, household };

std::span<const DemoProject> demoProjects();

}  // namespace ledgerfern
