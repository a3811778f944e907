// SPDX-License-Identifier: MIT
#include "FileStreamBuffer.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <ios>
#include <string_view>
#include <system_error>

#include <sys/stat.h>
#include <unistd.h>

namespace qz {

namespace {

using Ios = std::ios_base;

int toOpenFlags(Ios::openmode mode)
{
    const bool reads = (mode & Ios::in) != 0;
    const bool writes = (mode & (Ios::out | Ios::app)) != 0;
    int flags = !writes ? O_RDONLY : reads ? O_RDWR : O_WRONLY;
    if (mode & Ios::app) return flags | O_CREAT | O_APPEND;
    if (mode & Ios::trunc || (writes && !reads)) flags |= O_CREAT | O_TRUNC;
    return flags;
}

int toWhence(Ios::seekdir from)
{
    if (from == Ios::beg) return SEEK_SET;
    return from == Ios::cur ? SEEK_CUR : SEEK_END;
}

}  // namespace

FileStreamBuffer::~FileStreamBuffer()
{
    close();
}

bool FileStreamBuffer::open(const char* localPath, Ios::openmode mode)
{
    if (!open(FileDescriptor::Open(localPath, toOpenFlags(mode)), mode)) return false;
    if (!(mode & Ios::ate) || seekoff(0, Ios::end, mode) != pos_type(off_type(-1))) return true;
    mFile.close();
    return false;
}

bool FileStreamBuffer::open(FileDescriptor file, Ios::openmode mode)
{
    mError = 0;
    mMode = mode;
    mFile = std::move(file);
    if (!isOpen()) noteError();
    return isOpen();
}

bool FileStreamBuffer::close()
{
    if (!isOpen()) return false;
    const bool isWritten = writeBuffer();
    setg(nullptr, nullptr, nullptr);
    setp(nullptr, nullptr);
    const bool isClosed = mFile.close();
    if (!isClosed) noteError();
    return isWritten && isClosed;
}

void FileStreamBuffer::noteError()
{
    if (mError == 0) mError = errno;
}

// The stream catches the exception and turns bad; a returned value could only mean the end.
void FileStreamBuffer::throwError(const char* call)
{
    const int error = errno;
    noteError();
    throw Ios::failure(call, {error, std::generic_category()});
}

// Changes from writing to reading. A failure keeps what could not be written.
bool FileStreamBuffer::startReading()
{
    if (isReading()) return true;
    if (!isOpen() || !(mMode & Ios::in)) return false;
    if (!writeBuffer()) throwError("write");
    setp(nullptr, nullptr);
    setg(mBuffer, mBuffer, mBuffer);
    return true;
}

// Changes from reading to writing, at the position of the next byte to be read.
bool FileStreamBuffer::startWriting()
{
    if (isWriting()) return true;
    if (!isOpen() || !(mMode & (Ios::out | Ios::app))) return false;
    const off_type unread = egptr() - gptr();
    if (unread != 0 && ::lseek(mFile.get(), -unread, SEEK_CUR) < 0) {
        noteError();
        return false;
    }
    setg(nullptr, nullptr, nullptr);
    setp(mBuffer, mBuffer + kSize);
    return true;
}

// Writes what is buffered. After an error only the bytes that were not written remain.
bool FileStreamBuffer::writeBuffer()
{
    const auto size = static_cast<std::size_t>(pptr() - pbase());
    if (size == 0) return true;
    const std::size_t written = mFile.write({pbase(), size});
    const std::size_t rest = size - written;
    if (rest != 0) noteError();
    std::memmove(mBuffer, mBuffer + written, rest);
    setp(mBuffer, mBuffer + kSize);
    pbump(static_cast<int>(rest));
    return rest == 0;
}

std::size_t FileStreamBuffer::readBlock(char* dst, std::size_t size)
{
    const ssize_t got = mFile.read(dst, size);
    if (got < 0) throwError("read");
    return static_cast<std::size_t>(got);
}

FileStreamBuffer::int_type FileStreamBuffer::underflow()
{
    if (gptr() == egptr()) {
        if (!startReading()) return traits_type::eof();
        const std::size_t got = readBlock(mBuffer, kSize);
        setg(mBuffer, mBuffer, mBuffer + got);
        if (got == 0) return traits_type::eof();
    }
    return traits_type::to_int_type(*gptr());
}

std::streamsize FileStreamBuffer::xsgetn(char* dst, std::streamsize size)
{
    std::streamsize count = 0;
    while (count < size) {
        const std::streamsize rest = size - count;
        std::streamsize got = std::min<std::streamsize>(egptr() - gptr(), rest);
        if (got != 0) {
            std::memcpy(dst + count, gptr(), static_cast<std::size_t>(got));
            gbump(static_cast<int>(got));
        } else if (rest < static_cast<std::streamsize>(kSize)) {
            if (traits_type::eq_int_type(underflow(), traits_type::eof())) break;
        } else {
            if (!startReading()) break;
            got = static_cast<std::streamsize>(
                readBlock(dst + count, static_cast<std::size_t>(rest)));
            if (got == 0) break;
        }
        count += got;
    }
    return count;
}

FileStreamBuffer::int_type FileStreamBuffer::overflow(int_type c)
{
    if (!startWriting()) return traits_type::eof();
    const bool isFlush = traits_type::eq_int_type(c, traits_type::eof());
    if ((isFlush || pptr() == epptr()) && !writeBuffer()) return traits_type::eof();
    if (isFlush) return traits_type::not_eof(c);
    *pptr() = traits_type::to_char_type(c);
    pbump(1);
    return c;
}

// Fills the buffer up before it is written, so that the system gets blocks of equal size.
std::streamsize FileStreamBuffer::xsputn(const char* src, std::streamsize size)
{
    if (size <= 0 || !startWriting()) return 0;
    if (size >= static_cast<std::streamsize>(kSize)) {
        if (!writeBuffer()) return 0;
        const auto written =
            static_cast<std::streamsize>(mFile.write({src, static_cast<std::size_t>(size)}));
        if (written != size) noteError();
        return written;
    }
    const std::streamsize head = std::min<std::streamsize>(epptr() - pptr(), size);
    std::memcpy(pptr(), src, static_cast<std::size_t>(head));
    pbump(static_cast<int>(head));
    if (head == size) return size;
    if (!writeBuffer()) return head;
    std::memcpy(pptr(), src + head, static_cast<std::size_t>(size - head));
    pbump(static_cast<int>(size - head));
    return size;
}

FileStreamBuffer::off_type FileStreamBuffer::getPosition()
{
    const off_type position = ::lseek(mFile.get(), 0, SEEK_CUR);
    if (position < 0) {
        noteError();
        return position;
    }
    return position + (pptr() - pbase()) - (egptr() - gptr());
}

bool FileStreamBuffer::isFolder() const
{
    struct stat status = {};
    return ::fstat(mFile.get(), &status) == 0 && S_ISDIR(status.st_mode);
}

FileStreamBuffer::pos_type FileStreamBuffer::seekoff(off_type offset, Ios::seekdir from,
                                                     Ios::openmode /*which*/)
{
    if (!isOpen()) return off_type(-1);
    if (offset == 0 && from == Ios::cur) return getPosition();
    if (!writeBuffer()) return off_type(-1);
    const off_type position = move(offset, from);
    if (position < 0) {
        noteError();
        return position;
    }
    setg(nullptr, nullptr, nullptr);
    setp(nullptr, nullptr);
    return position;
}

FileStreamBuffer::off_type FileStreamBuffer::move(off_type offset, Ios::seekdir from) const
{
    if (from == Ios::cur && __builtin_sub_overflow(offset, egptr() - gptr(), &offset)) {
        errno = EOVERFLOW;
        return -1;
    }
    if (from == Ios::end && isFolder()) {  // some file systems invent a size for it
        errno = EISDIR;
        return -1;
    }
    return ::lseek(mFile.get(), offset, toWhence(from));
}

FileStreamBuffer::pos_type FileStreamBuffer::seekpos(pos_type position, Ios::openmode which)
{
    return seekoff(off_type(position), Ios::beg, which);
}

int FileStreamBuffer::sync()
{
    return writeBuffer() ? 0 : -1;
}

}  // namespace qz
