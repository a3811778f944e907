#pragma once

#include <string>
#include <vector>

#include "TestPaths.h"
#include "support/Files.h"

namespace qz::ext {

/// A file of the project.
inline std::string readProjectFile(const std::string& path)
{
    return support::readFile(std::string(QZ_TEST_SOURCE_DIR) + '/' + path);
}

/// The C++ blocks of a guide, for example of "docs/guide-start.md".
inline std::vector<std::string> readGuideBlocks(const std::string& path)
{
    const std::string text = readProjectFile(path);
    const std::string head = "```cpp\n";
    std::vector<std::string> blocks;
    for (std::size_t at = text.find(head); at != std::string::npos; at = text.find(head, at)) {
        at += head.size();
        blocks.push_back(text.substr(at, text.find("```", at) - at));
    }
    return blocks;
}

}  // namespace qz::ext
