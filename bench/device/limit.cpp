// SPDX-License-Identifier: MIT
// No peer but the floor: a virtual call a piece, which copies it into a buffer, and a system call
// for each full buffer.

#include <algorithm>
#include <cstring>
#include <memory>
#include <utility>

#include <fcntl.h>
#include <unistd.h>

#include "transfers.h"

namespace bench {

namespace {

class BufferedFile {
public:
    BufferedFile(const std::string& path, int flags)
        : mDescriptor(::open(path.c_str(), flags | O_CLOEXEC, 0666))
    {
    }
    virtual ~BufferedFile() { ::close(mDescriptor); }
    BufferedFile(const BufferedFile&) = delete;
    BufferedFile& operator=(const BufferedFile&) = delete;

    virtual bool write(const char* data, std::size_t size)
    {
        if (size >= sizeof mBuffer) return writeOut() && writeAll(data, size);
        if (size > sizeof mBuffer - mEnd && !writeOut()) return false;
        std::memcpy(mBuffer + mEnd, data, size);
        mEnd += size;
        return true;
    }
    virtual bool read(char* data, std::size_t size)
    {
        while (size != 0) {
            if (mBegin == mEnd && !fill()) return false;
            const std::size_t count = std::min(size, mEnd - mBegin);
            std::memcpy(data, mBuffer + mBegin, count);
            mBegin += count;
            data += count;
            size -= count;
        }
        return true;
    }
    bool writeOut() { return writeAll(mBuffer, std::exchange(mEnd, 0)); }

private:
    bool writeAll(const char* data, std::size_t size)
    {
        return ::write(mDescriptor, data, size) == static_cast<ssize_t>(size);
    }
    bool fill()
    {
        const ssize_t count = ::read(mDescriptor, mBuffer, sizeof mBuffer);
        mBegin = 0;
        mEnd = count > 0 ? static_cast<std::size_t>(count) : 0;
        return mEnd != 0;
    }

    int mDescriptor;
    std::size_t mBegin = 0;
    std::size_t mEnd = 0;
    char mBuffer[8192];
};

// By its base, so that no call is inlined.
class Stream {
public:
    Stream(const std::string& path, int flags) : mFile(std::make_unique<BufferedFile>(path, flags))
    {
        keep(mFile);
    }
    bool write(const char* data, std::size_t size) { return mFile->write(data, size); }
    bool read(char* data, std::size_t size) { return mFile->read(data, size); }

protected:
    std::unique_ptr<BufferedFile> mFile;
};

struct SystemCalls {
    struct Writer : Stream {
        explicit Writer(const std::string& path) : Stream(path, O_WRONLY | O_CREAT | O_TRUNC) {}
        ~Writer() { mFile->writeOut(); }
    };
    struct Reader : Stream {
        explicit Reader(const std::string& path) : Stream(path, O_RDONLY) {}
    };
};

const TransferRows<SystemCalls> kRows("limit");

}  // namespace

}  // namespace bench
