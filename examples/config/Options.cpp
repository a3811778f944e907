#include "Options.h"

namespace config {

const char* const kUsage =
    "usage: config [--get KEY] [--save PATH] [--] FILE... [KEY=VALUE...]\n"
    "\n"
    "Reads ini files, of which later ones win, sets the given values, and prints what comes of "
    "it.\n"
    "A key is a path: 'network/port' is the key 'port' of the section 'network'.\n"
    "  --get KEY    print the value of the key alone, for scripts\n"
    "  --save PATH  write all values to a file\n"
    "  --           what follows are files, even with a '=' in their names\n"
    "Exit status: 0 when all was done, 1 when something could not be or a key is absent, 2 for a\n"
    "wrong command line.\n";

namespace {

bool addSetting(const std::string& argument, Options& options, std::string& error)
{
    const std::size_t split = argument.find('=');
    if (split == 0) {
        error = "no key in '" + argument + "'";
        return false;
    }
    options.settings.emplace_back(argument.substr(0, split), argument.substr(split + 1));
    return true;
}

bool takeOption(const std::string& name, const std::string& value, Options& options)
{
    if (name == "--get") {
        options.wantsValue = true;
        options.wantedKey = value;
    } else {
        options.savePath = value;
    }
    return !value.empty();
}

bool isFile(const std::string& argument, bool onlyFiles)
{
    const bool isOption = argument.rfind("--", 0) == 0;
    return onlyFiles || (!isOption && argument.find('=') == std::string::npos);
}

}  // namespace

bool parseOptions(int argumentCount, char** arguments, Options& options, std::string& error)
{
    bool onlyFiles = false;
    for (int i = 1; i < argumentCount; ++i) {
        const std::string argument = arguments[i];
        if (isFile(argument, onlyFiles)) {
            options.inputPaths.push_back(argument);
        } else if (argument == "--") {
            onlyFiles = true;
        } else if (argument == "--help") {
            options.wantsHelp = true;
        } else if (argument == "--get" || argument == "--save") {
            if (++i == argumentCount || !takeOption(argument, arguments[i], options)) {
                error = "option '" + argument + "' wants a value";
                return false;
            }
        } else if (argument.rfind("--", 0) == 0) {
            error = "unknown option '" + argument + "'";
            return false;
        } else if (!addSetting(argument, options, error)) {
            return false;
        }
    }
    if (options.inputPaths.empty() && options.settings.empty() && !options.wantsHelp) {
        error = "no file and no value is given";
        return false;
    }
    return true;
}

}  // namespace config
