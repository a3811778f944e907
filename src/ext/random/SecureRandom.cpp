// SPDX-License-Identifier: MIT
#include <qz/ext/SecureRandom.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <system_error>

#include <sys/random.h>

#include "RandomDevice.h"
#include "base/Restart.h"

namespace qz::ext {

namespace {

constexpr char kNameCharacters[] = "abcdefghijkmnpqrstuvwxyz23456789";
constexpr unsigned int kNameCharacterCount = sizeof kNameCharacters - 1;
static_assert(256 % kNameCharacterCount == 0, "each character must be as likely as the others");

// Kernels before 3.17 have no such call, and filters of system calls, as of containers, may refuse
// what they don't know.
bool isRefused(int error)
{
    return error == ENOSYS || error == EPERM;
}

// @param step receives the call that failed, whose reason is in `errno`.
bool fill(unsigned char* bytes, std::size_t size, const char*& step)
{
    for (std::size_t done = 0; done != size;) {
        const ssize_t count = restart([&] { return ::getrandom(bytes + done, size - done, 0); });
        if (count > 0) {
            done += static_cast<std::size_t>(count);
        } else if (isRefused(errno)) {
            return readRandomDevice(bytes + done, size - done, step);
        } else {
            step = "getrandom";
            return false;
        }
    }
    return true;
}

}  // namespace

void SecureRandom::Fill(void* buffer, unsigned long size)
{
    const int savedErrno = errno;
    const char* step = "";
    if (fill(static_cast<unsigned char*>(buffer), size, step)) {
        errno = savedErrno;
        return;
    }
    const int error = errno;
    std::memset(buffer, 0, size);
    throw std::system_error(error, std::generic_category(),
                            std::string("no random bytes, ") + step);
}

unsigned long SecureRandom::Uniform(unsigned long below)
{
    // The numbers from here to 2^64 are a multiple of `below`.
    const unsigned long first = below != 0 ? -below % below : 0;
    unsigned long number = 0;
    do {
        Fill(&number, sizeof number);
    } while (number < first);
    return below != 0 ? number % below : number;
}

std::string SecureRandom::MakeName(unsigned long length)
{
    std::string name(length, '\0');
    Fill(name.data(), length);
    for (char& character : name)
        character = kNameCharacters[static_cast<unsigned char>(character) % kNameCharacterCount];
    return name;
}

int SecureRandom::Generate(unsigned char* buffer, int size)
{
    if (size > 0) Fill(buffer, static_cast<unsigned long>(size));
    return 1;
}

}  // namespace qz::ext
