// SPDX-License-Identifier: MIT
#include <algorithm>
#include <cstring>
#include <sstream>
#include <vector>

#include "buffers.h"

namespace bench {

namespace {

// A vector that doubles, or one that is reserved in full for what this program writes at most.
class VectorBuffer {
public:
    explicit VectorBuffer(std::size_t capacity) { mBytes.reserve(capacity); }
    bool write(const char* data, std::size_t size)
    {
        mBytes.insert(mBytes.end(), data, data + size);
        return true;
    }
    std::size_t read(char* data, std::size_t size)
    {
        const std::size_t count = std::min(size, mBytes.size() - mPosition);
        std::memcpy(data, mBytes.data() + mPosition, count);
        mPosition += count;
        return count;
    }
    void rewind() { mPosition = 0; }
    void restart()
    {
        mBytes.clear();
        mPosition = 0;
    }

private:
    std::vector<char> mBytes;
    std::size_t mPosition = 0;
};

struct Doubling {
    static VectorBuffer make() { return VectorBuffer(0); }
};

struct Reserved {
    static VectorBuffer make() { return VectorBuffer(getBulkSize()); }
};

class StreamBuffer {
public:
    bool write(const char* data, std::size_t size)
    {
        return mStream.write(data, static_cast<std::streamsize>(size)).good();
    }
    std::size_t read(char* data, std::size_t size)
    {
        mStream.read(data, static_cast<std::streamsize>(size));
        return static_cast<std::size_t>(mStream.gcount());
    }
    void rewind()
    {
        mStream.clear();
        mStream.seekg(0);
    }
    void restart()
    {
        mStream.clear();
        mStream.str(std::string());
        mStream.seekp(0);
    }

private:
    std::stringstream mStream;
};

struct StandardStream {
    static StreamBuffer make() { return {}; }
};

const Check kDoublingCheck("vector", readsWhatItWrote<Doubling>);
const Case kBulk("append 1 GB, 4 KiB each", "vector", measureBulk<Doubling>);
const Case kLargeChunks("append 1 GB, chunks of 32 MiB", "vector", measureBulk<Doubling>);
const Case kAgain("write a kept buffer again", "vector", measureAgain<Doubling>);
const Case kPieces("64 MB, 16 B each", "vector", measurePieces<Doubling>);
const Case kRead("read 1 GB back, 4 KiB each", "vector", measureRead<Doubling>);

const Check kReservedCheck("reserved vector", readsWhatItWrote<Reserved>);
const Case kReservedBulk("append 1 GB, 4 KiB each", "reserved", measureBulk<Reserved>);
const Case kReservedPieces("64 MB, 16 B each", "reserved", measurePieces<Reserved>);

const Check kStreamCheck("stringstream", readsWhatItWrote<StandardStream>);
const Case kStreamBulk("append 1 GB, 4 KiB each", "stringstream", measureBulk<StandardStream>);
const Case kStreamPieces("64 MB, 16 B each", "stringstream", measurePieces<StandardStream>);
const Case kStreamRead("read 1 GB back, 4 KiB each", "stringstream", measureRead<StandardStream>);

}  // namespace

}  // namespace bench
