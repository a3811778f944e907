// SPDX-License-Identifier: MIT
#include <fstream>
#include <sstream>

#include <boost/archive/binary_iarchive.hpp>
#include <boost/archive/binary_oarchive.hpp>
#include <boost/serialization/string.hpp>

#include "../support.h"
#include "records.h"

namespace bench {

namespace {

// The archives work on the stream buffer itself, without the stream around it.
struct BoostFormat {
    static constexpr unsigned int kFlags = boost::archive::no_header | boost::archive::no_codecvt;

    static void write(std::streambuf& buffer)
    {
        boost::archive::binary_oarchive archive(buffer, kFlags);
        for (const Record& record : getRecords()) {
            archive << record.number << record.real << record.text;
        }
    }

    template <typename Use>
    static void read(std::streambuf& buffer, Use& use)
    {
        boost::archive::binary_iarchive archive(buffer, kFlags);
        Record record;
        for (std::size_t i = 0; i < getRecords().size(); ++i) {
            archive >> record.number >> record.real >> record.text;
            use(record);
        }
    }

    static std::string writeMemory()
    {
        std::stringbuf buffer(std::ios::out);
        write(buffer);
        return std::move(buffer).str();
    }

    template <typename Use>
    static void readMemory(const std::string& bytes, Use& use)
    {
        MemoryView view(bytes.data(), bytes.size());
        read(view, use);
    }

    static void writeFile(const std::string& path)
    {
        std::filebuf buffer;
        buffer.open(path, std::ios::out | std::ios::binary);
        write(buffer);
    }

    template <typename Use>
    static void readFile(const std::string& path, Use& use)
    {
        std::filebuf buffer;
        buffer.open(path, std::ios::in | std::ios::binary);
        read(buffer, use);
    }
};

const FormatRows<BoostFormat> kRows("Boost");

}  // namespace

}  // namespace bench
