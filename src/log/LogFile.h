#pragma once

#include <string>

#include "qzLogParameters.h"

// The file handler's work on the disk, apart from the writing of lines. Everything here keeps what
// it learns in the parameters that it is given.

namespace qz::log {

/// The bits of the flags that a file handler is installed with.
enum FileFlags : int {
    FileRemove = 1,         ///< Remove the previous file.
    FileRename = 2,         ///< With `FileRemove`: keep the previous file under another name.
    FileEchoToConsole = 4,  ///< Go on showing entries on the console.
    FileUntried = 8,        ///< Don't try whether the file can be opened.
};

/// Takes a path apart into the fields that name the file; the path is absolute.
void setRequestedPath(qzLogParameters& parameters, const std::string& path);
/// Forgets the file.
void clearFileNames(qzLogParameters& parameters);

/// Prepares the disk for the file that the parameters name. When that fails it says so in the log,
/// and the parameters name no file any more: lines go to the console then.
void installFile(qzLogParameters& parameters);
/// Gives the file the name that the calendar asks for.
void updateFileName(qzLogParameters& parameters);
/// Gives the file of that name, if there is one, a name with the present time in it.
void renamePreviousFile(qzLogParameters& parameters);
/// Removes the oldest of the other files with the file's base name and extension, beyond the number
/// that is to stay, when the file in use has changed since it was last done.
void pruneOldFiles(qzLogParameters& parameters);

}  // namespace qz::log
