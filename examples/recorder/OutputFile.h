#pragma once

#include <string>

namespace recorder {

/// The place of a recording: written under another name, and put where it was asked for only when
/// it is complete. What is not kept is removed.
class OutputFile {
public:
    /// @param path where the recording is to stand; empty for one that never stays. A device such
    ///     as /dev/full is written to directly.
    explicit OutputFile(const std::string& path);
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    /// The path to write to.
    const std::string& getWorkPath() const { return mWorkPath; }
    /// Puts the recording where it was asked for. @return false when that is not possible.
    bool keep();

private:
    std::string mPath;
    std::string mWorkPath;
    bool mIsRemovable = true;
};

}  // namespace recorder
