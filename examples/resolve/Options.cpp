#include "Options.h"

#include <charconv>
#include <vector>

namespace resolve {

const char* const kUsage =
    "usage: resolve [--plain] [--max-files N] [--] ROOT FILE_WITH_PATHS\n"
    "\n"
    "Finds the files below ROOT that stale paths mean: those of the same name whose folders agree\n"
    "best with the folders of the path, counted from the back. The paths stand in a file, one a\n"
    "line, or come from standard input for '-'.\n"
    "A match is full when all folders of the file below ROOT agree, partial when a file has the\n"
    "name, and none when no file has it. The agreement is the length of the folders that agree.\n"
    "  --plain        print match, agreement, path and file with tabs between them\n"
    "  --max-files N  give up at so many files below ROOT, 10000000 without it\n"
    "  --             what follows is ROOT\n"
    "Exit status: 0 when a file was found for each path, 1 when for some there was none, 2 for a\n"
    "wrong command line, 3 when ROOT or the paths could not be read or the result not be "
    "printed.\n";

namespace {

bool parseCount(const std::string& text, unsigned long& count)
{
    const char* const end = text.data() + text.size();
    const auto [rest, error] = std::from_chars(text.data(), end, count);
    return error == std::errc() && rest == end && count != 0;
}

bool takePlaces(const std::vector<std::string>& places, Options& options, std::string& error)
{
    if (places.size() != 2 || places[0].empty() || places[1].empty()) {
        error = "ROOT and FILE_WITH_PATHS are wanted";
        return false;
    }
    options.root = places[0];
    options.listPath = places[1];
    return true;
}

}  // namespace

bool parseOptions(int argumentCount, char** arguments, Options& options, std::string& error)
{
    std::vector<std::string> places;
    bool onlyPlaces = false;
    for (int i = 1; i < argumentCount; ++i) {
        const std::string argument = arguments[i];
        if (onlyPlaces || argument.rfind("--", 0) != 0) {
            places.push_back(argument);
        } else if (argument == "--") {
            onlyPlaces = true;
        } else if (argument == "--help") {
            options.wantsHelp = true;
        } else if (argument == "--plain") {
            options.wantsPlainLines = true;
        } else if (argument != "--max-files") {
            error = "unknown option '" + argument + "'";
            return false;
        } else if (++i == argumentCount) {
            error = "option '" + argument + "' wants a value";
            return false;
        } else if (!parseCount(arguments[i], options.maxFiles)) {
            error = "option '" + argument + "' can't be '" + arguments[i] + "'";
            return false;
        }
    }
    return options.wantsHelp || takePlaces(places, options, error);
}

}  // namespace resolve
