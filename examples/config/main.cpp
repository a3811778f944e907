// SPDX-License-Identifier: MIT
// Reads ini files, sets values, prints the result and saves it.

#include <iostream>

#include <qz/ext/LibraryStart.h>
#include <qz/ext/PrintableText.h>

#include "Configuration.h"
#include "IgnoredLines.h"
#include "Options.h"

namespace {

using namespace config;

bool fail(const std::string& message)
{
    std::cerr << "config: " << qz::ext::escaped(message) << '\n';
    return false;
}

bool loadFile(const std::string& path, Configuration& configuration)
{
    std::string error;
    return configuration.load(path, error) || fail("cannot open '" + path + "': " + error);
}

bool load(const Options& options, Configuration& configuration)
{
    const IgnoredLines ignoredLines;
    for (const std::string& path : options.inputPaths)
        if (!loadFile(path, configuration)) return false;
    for (const auto& [key, value] : options.settings)
        configuration.set(key, value);
    return true;
}

bool print(const Options& options, const Configuration& configuration)
{
    if (options.wantedKey.empty()) {
        std::cout << configuration.toTable() << '\n';
    } else {
        const qz::qzVariant* const value = configuration.find(options.wantedKey);
        if (value == nullptr) return fail("no value at '" + options.wantedKey + "'");
        std::cout << value->toString() << '\n';
    }
    return std::cout.flush() ? true : fail("cannot print the result");
}

bool save(const Options& options, const Configuration& configuration)
{
    std::string error;
    if (options.savePath.empty() || configuration.save(options.savePath, error)) return true;
    return fail("cannot save '" + options.savePath + "': " + error);
}

}  // namespace

int main(int argumentCount, char** arguments)
{
    Options options;
    if (const std::optional<int> status = parseOptions(argumentCount, arguments, options))
        return *status;

    const qz::ext::LibraryStart library;
    Configuration configuration;
    const bool isDone = load(options, configuration) && print(options, configuration) &&
                        save(options, configuration);
    return isDone ? 0 : 1;
}
