// SPDX-License-Identifier: MIT
#pragma once

#include <string>

namespace recorder {

/// A new folder for swap files below the folder for temporary files. Only the user may enter it,
/// and no swap file outlasts it.
class SwapFolder {
public:
    /// Makes the folder. If that fails, so does whoever makes a file in it.
    SwapFolder();
    /// Removes the folder with its content.
    ~SwapFolder() { remove(); }
    SwapFolder(const SwapFolder&) = delete;
    SwapFolder& operator=(const SwapFolder&) = delete;

    /// The path in UTF-8.
    const std::string& getPath() const { return mPath; }
    /// Removes the folder with its content because the process ends. From any thread.
    void remove() const;

private:
    std::string mPath;
};

}  // namespace recorder
