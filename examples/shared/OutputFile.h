// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "NewFile.h"

namespace shared {

/// The file that a program writes for its user: a `NewFile`, or a device that is written to
/// directly, such as /dev/full. A link to an open file, such as /dev/stdout, is refused unless that
/// is a device.
class OutputFile {
public:
    /// @param path the name of the complete file; empty for one that is always removed.
    explicit OutputFile(const std::string& path);

    /// Makes the file to write to.
    /// @return false, with the reason in `error`, when that is not possible.
    bool make(std::string& error);
    /// The path to write to.
    const std::string& getWorkPath() const;
    /// Gives a complete file its name.
    /// @return false, with the reason in `error`, when that is not possible.
    bool keep(std::string& error);
    /// Removes a file that was not kept.
    void discard() { mFile.remove(); }

private:
    const std::string mPath;
    NewFile mFile;
    bool mIsDevice = false;
};

}  // namespace shared
