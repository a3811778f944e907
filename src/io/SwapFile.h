// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include <qz/qzIoDeviceFileStream.h>

#include "frame/base/FileDescriptor.h"

namespace qz {

/// A file device over a file of its own, which is created for this user alone and removed at the
/// end.
///
/// The name is not secret, and others may be able to write to the folder. So the file is created
/// only where there is nothing, and afterwards it is reached through a descriptor of it: whatever
/// somebody puts at the name later is neither opened nor written.
class SwapFile final : public qzIoDeviceFileStream {
public:
    /// Makes a device without a file.
    SwapFile();
    /// Closes and removes the file. A failure is reported as WARNING.
    ~SwapFile() override;

    /// Creates a file in `folder`, and the folder if need be, and opens it. A failure is the
    /// device's error.
    void make(const std::string& folder);
    /// Opens the file again, with its content, after an error. Without a file, makes one.
    void reopen(const std::string& folder);
    /// Whether this process has made the device. In another one it must not be used or destroyed,
    /// since its buffer and the position of the file belong to the maker.
    bool isOwn() const;

private:
    void create(const std::string& folder);
    void openFile();

    FileDescriptor mFile;
    std::string mPath;       // UTF-8
    std::string mLocalPath;  // for the removal, which may come after the end of the text services
    long mMakersProcess;
};

}  // namespace qz
