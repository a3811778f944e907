// SPDX-License-Identifier: MIT
#pragma once

#include <sstream>
#include <string>
#include <vector>

namespace qz {

inline const std::string kByteOrderMark = "\xEF\xBB\xBF";

/// The messages of whole lines. One that is no line of a log is shown as it is, after "?".
inline std::vector<std::string> takeMessages(const std::string& text)
{
    std::vector<std::string> messages;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        const std::size_t place = line.find(" PID ");
        const std::size_t message = line.find(" : ", place);
        const bool isLine = place != std::string::npos && message != std::string::npos;
        messages.push_back(isLine ? line.substr(message + 3) : '?' + line);
    }
    if (!text.empty() && text.back() != '\n') messages.push_back("?no line end");
    return messages;
}

/// The messages of a log file, joined by ';', after "BOM " where it has a byte order mark.
inline std::string showLogFile(const std::string& content)
{
    const bool hasMark = content.compare(0, 3, kByteOrderMark) == 0;
    std::string shown = hasMark ? "BOM " : "";
    const char* between = "";
    for (const std::string& message : takeMessages(content.substr(hasMark ? 3 : 0))) {
        shown += between + message;
        between = ";";
    }
    return shown;
}

}  // namespace qz
