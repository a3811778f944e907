#pragma once

#include <string>

#include <qz/qzExport.h>

namespace qz {

/// Random bytes from a generator that the host may replace.
///
/// The default generator is the C library's `rand`, seeded at a thread's first use with a number
/// that no other thread gets: good for names, not for secrets.
class QZ_API qzRandomUtils {
public:
    qzRandomUtils() = delete;

    /// Fills `size` bytes at `buffer`; what it returns is handed to the caller of `Rand`.
    using Generator = int (*)(unsigned char* buffer, int size);

    /// Installs a generator; null brings the default back. Threads: for the time of start-up.
    /// @return the generator that was in place.
    static Generator SetRandGenerator(Generator generator);
    /// Fills a buffer through the generator.
    /// @param size bytes; cut to 32 bits.
    /// @return what the generator says; 1 from the default one.
    static int Rand(char* buffer, unsigned long size);
    /// Gives random bytes as lower-case hexadecimal digits, two a byte.
    /// @param byteCount 0 acts as 1.
    static std::string CreateRandHexString(unsigned long byteCount);

private:
    QZ_LOCAL static Generator sRandGenerator;
};

}  // namespace qz
