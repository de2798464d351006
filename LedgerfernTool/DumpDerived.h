#pragma once

#include <optional>
#include <string>
#include <vector>

#include "Analytics/DashboardAnalytics.h"
#include "Analytics/ProjectAnalytics.h"
#include "Foundation/JsonWriter.h"

/// What is derived from a snapshot, as it stands in documents.
namespace ledgerfern::DumpDerived {

/// A project's page in both breakdowns and both orders.
struct ProjectPage {
    std::string name;
    ProjectDerived byKind;   ///< Most tokens first.
    ProjectDerived byModel;  ///< The same with the stacks by model.
    SessionList recentRows;  ///< The rows, latest first.
};

/// The page of the selection's project; its breakdown and its order aren't looked at.
ProjectPage projectPage(const Snapshot& snapshot, ProjectAnalytics::Selection selection);

void writeDerived(JsonWriter& json, const DashboardDerived& derived);
void writeProject(JsonWriter& json, const ProjectPage& page);
void writeTopTools(JsonWriter& json, const std::vector<TopTool>& tools);
void writeInsights(JsonWriter& json, const std::vector<Insight>& insights);

}  // namespace ledgerfern::DumpDerived
