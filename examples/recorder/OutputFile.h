#pragma once

#include <string>

#include "shared/NewFile.h"

namespace recorder {

/// The file of a recording. It gets the name that the user gave only when it is complete, and is
/// removed otherwise.
class OutputFile {
public:
    /// @param path the name of the complete recording; empty for one that is always removed. A
    ///     device such as /dev/full is written to directly.
    explicit OutputFile(const std::string& path);

    /// Makes the file to write to.
    /// @return false, with the reason in `error`, when that is not possible.
    bool make(std::string& error);
    /// The path to write to.
    const std::string& getWorkPath() const;
    /// Gives a complete recording its name.
    /// @return false, with the reason in `error`, when that is not possible.
    bool keep(std::string& error);
    /// Removes an incomplete recording.
    void discard() { mFile.remove(); }

private:
    const std::string mPath;
    shared::NewFile mFile;
    bool mIsDevice = false;
};

}  // namespace recorder
