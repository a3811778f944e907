#pragma once

#include <string>

namespace qz {

/// Appends a second since the epoch as log lines show it: in local time, and in UTF-8.
void appendLogTime(std::string& text, long second);

}  // namespace qz
