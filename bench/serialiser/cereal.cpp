// SPDX-License-Identifier: MIT
#include <fstream>
#include <sstream>

#include <cereal/archives/binary.hpp>
#include <cereal/types/string.hpp>

#include "../support.h"
#include "records.h"

namespace bench {

namespace {

struct CerealFormat {
    static void write(std::ostream& stream)
    {
        cereal::BinaryOutputArchive archive(stream);
        for (const Record& record : getRecords()) {
            archive(record.number, record.real, record.text);
        }
    }

    template <typename Use>
    static void read(std::istream& stream, Use& use)
    {
        cereal::BinaryInputArchive archive(stream);
        Record record;
        for (std::size_t i = 0; i < getRecords().size(); ++i) {
            archive(record.number, record.real, record.text);
            use(record);
        }
    }

    static std::string writeMemory()
    {
        std::ostringstream stream;
        write(stream);
        return std::move(stream).str();
    }

    template <typename Use>
    static void readMemory(const std::string& bytes, Use& use)
    {
        MemoryView view(bytes.data(), bytes.size());
        std::istream stream(&view);
        read(stream, use);
    }

    static void writeFile(const std::string& path)
    {
        std::ofstream stream(path, std::ios::binary);
        write(stream);
    }

    template <typename Use>
    static void readFile(const std::string& path, Use& use)
    {
        std::ifstream stream(path, std::ios::binary);
        read(stream, use);
    }
};

const FormatRows<CerealFormat> kRows("cereal");

}  // namespace

}  // namespace bench
