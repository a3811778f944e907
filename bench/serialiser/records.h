// SPDX-License-Identifier: MIT
#pragma once

/// @file
/// The records of the serialiser rows, and the two things that a reader may do with them.

#include <cstddef>
#include <streambuf>
#include <string>
#include <vector>

#include "../support.h"

namespace bench {

/// A number of any size, a double and a text of 12 bytes.
struct Record {
    int number = 0;
    double real = 0;
    std::string text;

    bool operator==(const Record&) const = default;
};

/// The records that everyone writes: a million, the same in each run.
const std::vector<Record>& getRecords();

/// What a timed reader does with a record.
struct KeepRecord {
    void operator()(Record& record) const { keep(record); }
};

/// What a reader under test does with a record: compares it with the one that was written.
class CompareRecord {
public:
    void operator()(const Record& record)
    {
        mIsSame = mIsSame && mCount < getRecords().size() && record == getRecords()[mCount];
        ++mCount;
    }
    /// Tells whether all records came back.
    bool holds() const { return mIsSame && mCount == getRecords().size(); }

private:
    std::size_t mCount = 0;
    bool mIsSame = true;
};

/// Lets a stream read bytes where they lie; a string stream would copy them first.
class MemoryView : public std::streambuf {
public:
    MemoryView(const char* data, std::size_t size)
    {
        char* begin = const_cast<char*>(data);  // the interface wants it; reading changes nothing
        setg(begin, begin, begin + size);
    }
};

/// Notes how much a pass over the records moved.
void setRecordsProcessed(benchmark::State& state);

/// The four rows of one contender and the check of them. `Format` has, as static functions,
/// `Bytes writeMemory()`, `void readMemory(const Bytes&, use)`, `void writeFile(path)` and
/// `void readFile(path, use)`, where `use` is called with each record and `Bytes` is its own kind
/// of memory.
template <typename Format>
class FormatRows {
public:
    explicit FormatRows(const char* name)
        : mCheck(name, returnsWhatWasWritten),
          mWriteMemory("write to memory", name, measureWriteMemory),
          mReadMemory("read from memory", name, measureReadMemory),
          mWriteFile("write to a file", name, measureWriteFile),
          mReadFile("read from a file", name, measureReadFile)
    {
    }

private:
    static bool returnsWhatWasWritten()
    {
        CompareRecord fromMemory;
        Format::readMemory(Format::writeMemory(), fromMemory);
        const ScratchFile file("check");
        Format::writeFile(file.getPath());
        CompareRecord fromFile;
        Format::readFile(file.getPath(), fromFile);
        return fromMemory.holds() && fromFile.holds();
    }

    static void measureWriteMemory(benchmark::State& state)
    {
        for (auto _ : state) {
            auto bytes = Format::writeMemory();
            keep(bytes);
        }
        setRecordsProcessed(state);
    }

    static void measureReadMemory(benchmark::State& state)
    {
        const auto bytes = Format::writeMemory();
        KeepRecord use;
        for (auto _ : state)
            Format::readMemory(bytes, use);
        setRecordsProcessed(state);
    }

    static void measureWriteFile(benchmark::State& state)
    {
        const ScratchFile file("records");
        for (auto _ : state)
            Format::writeFile(file.getPath());
        setRecordsProcessed(state);
    }

    static void measureReadFile(benchmark::State& state)
    {
        const ScratchFile file("records");
        Format::writeFile(file.getPath());
        KeepRecord use;
        for (auto _ : state)
            Format::readFile(file.getPath(), use);
        setRecordsProcessed(state);
    }

    Check mCheck;
    Case mWriteMemory;
    Case mReadMemory;
    Case mWriteFile;
    Case mReadFile;
};

}  // namespace bench
