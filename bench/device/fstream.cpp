// SPDX-License-Identifier: MIT
#include <fstream>

#include "transfers.h"

namespace bench {

namespace {

class Stream {
public:
    Stream(const std::string& path, std::ios::openmode mode)
        : mStream(path, mode | std::ios::binary)
    {
    }
    bool write(const char* data, std::size_t size)
    {
        return mStream.write(data, static_cast<std::streamsize>(size)).good();
    }
    bool read(char* data, std::size_t size)
    {
        return mStream.read(data, static_cast<std::streamsize>(size)).good();
    }

private:
    std::fstream mStream;
};

struct StandardStream {
    struct Writer : Stream {
        explicit Writer(const std::string& path) : Stream(path, std::ios::out | std::ios::trunc) {}
    };
    struct Reader : Stream {
        explicit Reader(const std::string& path) : Stream(path, std::ios::in) {}
    };
};

const TransferRows<StandardStream> kRows("std::fstream");

}  // namespace

}  // namespace bench
