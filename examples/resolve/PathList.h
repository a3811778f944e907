#pragma once

#include <string>
#include <vector>

namespace resolve {

/// Reads paths, one a line; empty lines don't count, nor do carriage returns at their ends.
/// @param listPath the file; "-" for standard input.
/// @return false, with the reason in `error`, when it can't be read to its end.
bool readPaths(const std::string& listPath, std::vector<std::string>& paths, std::string& error);

}  // namespace resolve
