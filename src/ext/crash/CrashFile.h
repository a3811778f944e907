// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <string>

#include <qz/ext/SystemFailure.h>

#include "base/OwnDescriptor.h"

namespace qz::ext::crash {

/// The file of a process: its space on the disk is allocated, a lock shows that the process uses
/// it, and the ring of entries is mapped.
class CrashFile {
public:
    CrashFile() = default;
    /// Removes the file if `keep` wasn't called.
    ~CrashFile();
    CrashFile(const CrashFile&) = delete;
    CrashFile& operator=(const CrashFile&) = delete;

    /// @param folder in UTF-8; made if it is missing.
    /// @param program the path of the program; its name begins that of the file.
    bool make(const std::string& folder, const std::string& program, long startMs,
              std::size_t ringBytes, SystemFailure* failure);
    /// Leaves the file on the disk.
    void keep() { mIsKept = true; }
    /// Removes the file from the disk now, if `keep` wasn't called. What is open remains usable.
    void removeUnkept();

    int getDescriptor() const { return mDescriptor.get(); }
    void* getRing() const { return mRing; }
    std::size_t getRingBytes() const { return mRingBytes; }
    /// In the local character set.
    const std::string& getPath() const { return mPath; }

private:
    bool fill(SystemFailure* failure);

    std::string mPath;
    OwnDescriptor mDescriptor;
    void* mRing = nullptr;
    std::size_t mRingBytes = 0;
    bool mIsKept = false;
};

}  // namespace qz::ext::crash
