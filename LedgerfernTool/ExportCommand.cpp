#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <filesystem>
#include <system_error>

#include "Analytics/Exports.h"
#include "Commands.h"
#include "Foundation/AtomicWrite.h"
#include "Foundation/FileDescriptor.h"
#include "Foundation/Locations.h"
#include "Quoted.h"
#include "Scope.h"

namespace ledgerfern {

namespace {

std::string exported(const Scan& scan, const Options& options, const PriceTable& prices) {
    const auto selection = selectionFor(options, scan.snapshot.aggregates, ScopeName::all);
    const DashboardDerived found = derived(scan, selection, prices);
    const auto &ids = scan.snapshot.sessionIDs, &names = scan.snapshot.threadNames;
    if (options.operand == "csv")
        return CSVExport::sessionsCSV(found.rows, found.rowTokens, found.rowReqs, ids, names);
    return JSONExport::sessionsJSON(found.rows, selection.allTime, ids, names, scan.now);
}

/// True for a device or a pipe, which takes what is written and can't be replaced.
bool isStream(const std::string& path) {
    struct stat attributes{};
    return ::stat(path.c_str(), &attributes) == 0 && !S_ISREG(attributes.st_mode) &&
           !S_ISDIR(attributes.st_mode);
}

Result writeStream(const std::string& path, std::string_view bytes) {
    const auto failure = [&](const std::string& reason) {
        return Result{"can't write " + inQuotes(path) + ": " + reason};
    };
    const FileDescriptor file = FileDescriptor::open(path, O_WRONLY);
    if (!file.isOpen()) return failure(std::generic_category().message(errno));
    const Written written = DescriptorOutput(file.number()).write(bytes);
    return written.outcome == Written::Outcome::failed ? failure(written.reason) : Result();
}

/// What a link leads to is written, and the link stays.
Result writeFile(const std::string& path, std::string_view bytes) {
    return isStream(path) ? writeStream(path, bytes) : writeAtomically(linkTarget(path), bytes);
}

}  // namespace

int runExport(const Options& options, Console& console) {
    if (options.operand != "csv" && options.operand != "json")
        return console.fail(ExitStatus::badUsage,
                            "export has no format " + inQuotes(options.operand) + "; it takes csv or json");
    const Scan scan = scanWithLimits(options, console);
    const std::string text = exported(scan, options, pricesFor(options));
    if (!options.outFile) return console.print(text);
    const Result result = writeFile(*options.outFile, text);
    return result ? ExitStatus::ok : console.fail(ExitStatus::failed, *result.error);
}

}  // namespace ledgerfern
