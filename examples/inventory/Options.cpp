#include "Options.h"

#include <charconv>

namespace inventory {

const char* const kUsage =
    "usage: inventory [--output FILE] [--rows N] [--] [FOLDER...]\n"
    "\n"
    "Lists all files below the folders in CSV files, reads these back, and prints totals by type.\n"
    "Without folders it takes /usr/include and /usr/share. Links to folders are not followed.\n"
    "  --output FILE  the first CSV file, inventory.csv without it; the next ones have a number\n"
    "  --rows N       how many files each CSV file lists, 10000 without it\n"
    "  --             what follows are folders\n"
    "Exit status: 0 when all was done, 1 when some files or folders could not be read, 2 for a\n"
    "wrong command line, 3 when the list could not be written or read back. Ctrl-C ends it as a\n"
    "signal does, after what is ready was written.\n";

namespace {

bool parseCount(const std::string& text, unsigned long& count)
{
    const char* const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, count);
    return error == std::errc() && rest == end && count != 0;
}

bool takeOption(const std::string& name, const std::string& value, Options& options)
{
    if (name == "--rows") return parseCount(value, options.rowsPerFile);
    options.outputPath = value;
    return !value.empty();
}

}  // namespace

bool parseOptions(int argumentCount, char** arguments, Options& options, std::string& error)
{
    std::vector<std::string> folders;
    bool onlyFolders = false;
    for (int i = 1; i < argumentCount; ++i) {
        const std::string argument = arguments[i];
        if (onlyFolders || argument.rfind("--", 0) != 0) {
            folders.push_back(argument);
        } else if (argument == "--") {
            onlyFolders = true;
        } else if (argument == "--help") {
            options.wantsHelp = true;
        } else if (argument != "--output" && argument != "--rows") {
            error = "unknown option '" + argument + "'";
            return false;
        } else if (++i == argumentCount) {
            error = "option '" + argument + "' wants a value";
            return false;
        } else if (!takeOption(argument, arguments[i], options)) {
            error = "option '" + argument + "' can't be '" + arguments[i] + "'";
            return false;
        }
    }
    if (!folders.empty()) options.folders = folders;
    return true;
}

}  // namespace inventory
