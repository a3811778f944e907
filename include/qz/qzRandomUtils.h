// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include <qz/qzExport.h>

namespace qz {

/// Random bytes from a generator that the application may replace.
///
/// The default generator is the C library's `rand`, seeded at the first use on a thread with a
/// number of its own, and anew in a forked child. It therefore changes the sequence of the
/// application's own `rand`. Its bytes can be guessed: for secrets, and for names in folders that
/// others can write to, install `qz::ext::SecureRandom::Generate`.
///
/// @code
/// const std::string name = "upload-" + qzRandomUtils::CreateRandHexString(8);
/// @endcode
///
/// Threads: any may call `Rand` and `CreateRandHexString` with the default generator.
class QZ_API qzRandomUtils {
public:
    qzRandomUtils() = delete;

    /// Fills `size` bytes at `buffer`. `Rand` returns its result. `size` may be negative.
    using Generator = int (*)(unsigned char* buffer, int size);

    /// Installs a generator; null stands for the default one. Threads: no other thread may use the
    /// generator during the call.
    /// @return the previous generator.
    static Generator SetRandGenerator(Generator generator);
    /// Fills a buffer with random bytes.
    /// @param size bytes; only the lower 32 bits are used, and from 2^31 on they are a negative
    ///     number for the generator. The default one then writes nothing.
    /// @return the result of the generator; 1 for the default one.
    static int Rand(char* buffer, unsigned long size);
    /// Returns random bytes as lower-case hexadecimal digits, two for each byte.
    /// @param byteCount 0 is taken as 1. With the default generator it must be below 2^31;
    ///     otherwise the digits are zeros.
    static std::string CreateRandHexString(unsigned long byteCount);

private:
    QZ_LOCAL static Generator sRandGenerator;
};

}  // namespace qz
