#include "PathList.h"

#include <cerrno>
#include <fstream>
#include <iostream>

#include <qz/SystemError.h>

namespace resolve {

namespace {

// @return false when the stream failed rather than ended.
bool readLines(std::istream& stream, std::vector<std::string>& lines)
{
    std::string line;
    while (std::getline(stream, line)) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        if (!line.empty()) lines.push_back(line);
    }
    return stream.eof();
}

}  // namespace

bool readPaths(const std::string& listPath, std::vector<std::string>& paths, std::string& error)
{
    errno = 0;
    std::ifstream file;
    const bool isStandardInput = listPath == "-";
    if (!isStandardInput) file.open(listPath);
    if (readLines(isStandardInput ? std::cin : file, paths)) return true;
    const int systemError = errno;
    error = "cannot read '" + listPath + "': " + qz::SystemError(systemError).toString();
    return false;
}

}  // namespace resolve
