#pragma once

#include <string>

namespace shared {

/// A name for a line of output: "?" in place of line feeds and other control characters, and of all
/// bytes beyond ASCII if it isn't UTF-8.
std::string makeVisible(std::string text);

}  // namespace shared
