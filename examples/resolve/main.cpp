// SPDX-License-Identifier: MIT
// Finds the files that stale paths mean.

#include <algorithm>
#include <iostream>
#include <string>
#include <vector>

#include <qz/ext/LibraryStart.h>
#include <qz/ext/PrintableText.h>

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
    std::cerr << "resolve: " << qz::ext::escaped(message) << '\n';
    return StatusFailed;
}

// Prints each result before it waits for the next path, so that another program can use this one
// step by step.
Status printPlainLines(PathList& paths, const Tree& tree)
{
    Status status = StatusAllFound;
    Result result;
    while (paths.readNext(result.path)) {
        result.match = tree.find(result.path);
        if (!result.isFound()) status = StatusSomeMissing;
        std::cout << toPlainLine(result);
        if (!paths.hasMoreAtHand()) std::cout.flush();
        if (!std::cout) return fail("cannot print the result");
    }
    if (!paths.getError().empty()) return fail(paths.getError());
    return std::cout.flush() ? status : fail("cannot print the result");
}

Status printTable(PathList& paths, const Tree& tree)
{
    std::vector<Result> results;
    for (std::string path; paths.readNext(path);)
        results.push_back({path, tree.find(path)});
    if (!paths.getError().empty()) return fail(paths.getError());
    if (!(std::cout << toTable(results) << std::flush)) return fail("cannot print the result");
    const bool areAllFound = std::all_of(results.begin(), results.end(),
                                         [](const Result& result) { return result.isFound(); });
    return areAllFound ? StatusAllFound : StatusSomeMissing;
}

Status run(const Options& options)
{
    const LogMessages logMessages;
    PathList paths(options.listPath);
    if (!paths.getError().empty()) return fail(paths.getError());
    Tree tree;
    std::string error;
    if (!tree.index(options.root, options.maxFiles, error)) return fail(error);
    return options.wantsPlainLines ? printPlainLines(paths, tree) : printTable(paths, tree);
}

}  // namespace

int main(int argumentCount, char** arguments)
{
    Options options;
    if (const std::optional<int> status = parseOptions(argumentCount, arguments, options))
        return *status;

    // Standard input must have a buffer, so that the program sees whether there is more to read.
    std::ios::sync_with_stdio(false);
    const qz::ext::LibraryStart library;
    return run(options);
}
