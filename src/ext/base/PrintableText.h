#pragma once

#include <string>

namespace qz::ext {

/// A text for one line of a terminal: "?" in place of each control character, and of each byte
/// beyond ASCII if the text isn't UTF-8.
std::string makePrintable(std::string text);

}  // namespace qz::ext
