// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include <qz/qzExport.h>

namespace qz::ext {

/// Random bytes from the system, for what nobody may guess: names of files in folders that others
/// can write to, identifiers of sessions, keys.
///
/// Each call takes its bytes from the kernel, by `getrandom`, and none are stored in between. So a
/// child of `fork`, of whatever kind, never repeats the bytes of its parent, and there is nothing
/// that could leak. During the start of the machine, a call waits until the system has collected
/// enough randomness. On a system that refuses `getrandom`, the bytes come from /dev/urandom.
///
/// No call returns weak bytes: if the system has none to offer, `std::system_error` is thrown.
/// No memory is allocated, but for a text that is returned. The library need not be started.
/// Threads: any. Signal handlers: `Fill`, unless it throws.
///
/// @code
/// qz::qzRandomUtils::SetRandGenerator(&qz::ext::SecureRandom::Generate);
/// const std::string name = "upload-" + qz::ext::SecureRandom::MakeName();
/// @endcode
class QZ_API SecureRandom {
public:
    SecureRandom() = delete;

    /// Fills `size` bytes at `buffer`. After an exception, all of them are 0.
    static void Fill(void* buffer, unsigned long size);
    /// Returns a number below `below`, each with the same probability; 0 stands for 2^64.
    static unsigned long Uniform(unsigned long below);
    /// Returns a name of lower-case letters and digits, which fits into paths and addresses. Each
    /// character has 32 values ("l", "o", "0" and "1" are left out), so 26 of them can't be guessed
    /// and don't repeat.
    static std::string MakeName(unsigned long length = 26);

    /// The generator for `qzRandomUtils::SetRandGenerator`. Random names of the library, such as
    /// those of swap files, can't be guessed then.
    /// @param size may be negative, and nothing is written then.
    /// @return 1. It throws as `Fill` does, because callers need not check a result.
    static int Generate(unsigned char* buffer, int size);
};

}  // namespace qz::ext
