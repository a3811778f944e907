// SPDX-License-Identifier: MIT
#pragma once

#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace qz::log {

/// Splits a text at blanks, slashes, backslashes, commas, semicolons and bars.
std::vector<std::string> splitSubTypes(std::string_view names);
/// Switches sub-types off or on, without the white space around their names.
/// @return whether that changed anything.
bool switchSubTypes(std::set<std::string>& blacklist, const std::vector<std::string>& names,
                    bool off);
/// The text that lists what is switched off.
std::string describeSubTypes(const std::set<std::string>& blacklist);

}  // namespace qz::log
