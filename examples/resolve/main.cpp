// Finds the files that stale paths mean.

#include <algorithm>
#include <iostream>

#include <qz/ext/LibraryStart.h>

#include "LogMessages.h"
#include "Options.h"
#include "PathList.h"
#include "Results.h"
#include "Tree.h"

namespace {

using namespace resolve;

enum Status { StatusAllFound = 0, StatusSomeMissing = 1, StatusUsage = 2, StatusFailed = 3 };

Status fail(const std::string& message)
{
    std::cerr << "resolve: " << message << '\n';
    return StatusFailed;
}

Status run(const Options& options)
{
    const LogMessages logMessages;
    std::string error;
    std::vector<std::string> paths;
    if (!readPaths(options.listPath, paths, error)) return fail(error);
    Tree tree;
    if (!tree.index(options.root, options.maxFiles, error)) return fail(error);

    std::vector<Result> results;
    results.reserve(paths.size());
    for (const std::string& path : paths)
        results.push_back({path, tree.find(path)});
    std::cout << (options.wantsPlainLines ? toPlainLines(results) : toTable(results));
    if (!std::cout.flush()) return fail("cannot print the result");
    const bool areAllFound = std::all_of(results.begin(), results.end(),
                                         [](const Result& result) { return result.isFound(); });
    return areAllFound ? StatusAllFound : StatusSomeMissing;
}

}  // namespace

int main(int argumentCount, char** arguments)
{
    Options options;
    std::string error;
    if (!parseOptions(argumentCount, arguments, options, error)) {
        std::cerr << "resolve: " << error << '\n' << kUsage;
        return StatusUsage;
    }
    if (options.wantsHelp) {
        std::cout << kUsage;
        return StatusAllFound;
    }

    const qz::ext::LibraryStart library;
    return run(options);
}
