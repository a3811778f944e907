// SPDX-License-Identifier: MIT
#pragma once

#include <fstream>
#include <istream>
#include <string>

namespace resolve {

/// A file with one path a line. Empty lines are left out, and so are carriage returns at line ends.
class PathList {
public:
    /// Opens the file; "-" is standard input.
    explicit PathList(const std::string& listPath);

    /// Reads the next path. @return false at the end, and after a failure.
    bool readNext(std::string& path);
    /// Whether `readNext` returns a path without waiting for somebody who writes the list.
    bool hasMoreAtHand() const;
    /// Why the list can't be read to its end; empty while nothing has failed.
    const std::string& getError() const { return mError; }

private:
    void setError();

    const std::string mListPath;
    std::ifstream mFile;
    std::istream& mStream;
    std::string mError;
};

}  // namespace resolve
