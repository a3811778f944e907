// SPDX-License-Identifier: MIT
#include "SafeText.h"

#include <cerrno>
#include <utility>

#include <sys/syscall.h>
#include <unistd.h>

namespace qz::ext::crash {

SafeText& SafeText::operator<<(std::string_view text)
{
    for (const char character : text)
        put(character);
    return *this;
}

SafeText& SafeText::operator<<(Hex value)
{
    char digits[16];
    std::size_t count = 0;
    for (std::uint64_t rest = value.value; rest != 0 || count == 0; rest /= 16)
        digits[count++] = "0123456789abcdef"[rest % 16];
    *this << "0x";
    while (count != 0)
        put(digits[--count]);
    return *this;
}

SafeText& SafeText::operator<<(Number value)
{
    char digits[20];
    std::size_t count = 0;
    const bool isNegative = value.value < 0;
    auto rest = static_cast<std::uint64_t>(value.value);
    if (isNegative) rest = 0 - rest;
    for (; rest != 0 || count == 0; rest /= 10)
        digits[count++] = static_cast<char>('0' + rest % 10);
    if (isNegative) put('-');
    while (count != 0)
        put(digits[--count]);
    return *this;
}

SafeText& SafeText::operator<<(Foreign text)
{
    for (std::size_t i = 0; i < kMostForeign && text.text[i] != '\0'; ++i) {
        const char character = text.text[i];
        put(static_cast<unsigned char>(character) < ' ' ? ' ' : character);
    }
    return *this;
}

void SafeText::put(char character)
{
    if (mSize < sizeof mLine - 2) mLine[mSize++] = character;
}

void SafeText::endLine()
{
    mLine[mSize++] = '\n';
    mLine[mSize] = '\0';
    const std::size_t size = std::exchange(mSize, 0);
    if (mPosition + size + 1 > mEnd) return;
    for (std::size_t done = 0; done < size + 1;) {
        // The function would end a thread that is to be cancelled, and with it the report.
        const long written = ::syscall(SYS_pwrite64, mDescriptor, mLine + done, size + 1 - done,
                                       static_cast<off_t>(mPosition + done));
        if (written > 0) done += static_cast<std::size_t>(written);
        if (written == 0 || (written < 0 && errno != EINTR)) return;
    }
    mPosition += size;
}

void SafeText::endPart()
{
    if (mSize != 0) endLine();
}

}  // namespace qz::ext::crash
