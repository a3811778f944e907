// SPDX-License-Identifier: MIT
#include "SubTypeList.h"

#include <algorithm>
#include <string_view>

#include "text/Characters.h"

namespace qz::log {

namespace {

constexpr std::string_view kSeparators = " /\\,;|";

}  // namespace

std::vector<std::string> splitSubTypes(std::string_view names)
{
    std::vector<std::string> pieces;
    while (!names.empty()) {
        const std::size_t size = std::min(names.find_first_of(kSeparators), names.size());
        if (size != 0) pieces.emplace_back(names.substr(0, size));
        names.remove_prefix(std::min(size + 1, names.size()));
    }
    return pieces;
}

bool switchSubTypes(std::set<std::string>& blacklist, const std::vector<std::string>& names,
                    bool off)
{
    bool isChanged = false;
    for (const std::string& name : names) {
        const std::string bareName(text::trim(name));
        isChanged |= off ? blacklist.insert(bareName).second : blacklist.erase(bareName) != 0;
    }
    return isChanged;
}

std::string describeSubTypes(const std::set<std::string>& blacklist)
{
    // Compatibility: the apostrophes between two names are doubled.
    std::string text = "log type blacklist : ";
    std::string_view between;
    for (const std::string& name : blacklist) {
        text.append(between).append("'").append(name).append("'");
        between = "' '";
    }
    return text;
}

}  // namespace qz::log
