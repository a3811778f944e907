// SPDX-License-Identifier: MIT
#include <qz/qzCsvStream.h>

#include <random>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "support/Allocations.h"
#include "support/DeviceStub.h"
#include "variant/PlainCsv.h"

namespace qz {

using plain::CsvRows;
using support::DeviceStub;
using ::testing::ElementsAre;
using ::testing::IsEmpty;

namespace {

class qzCsvStreamTest : public ::testing::Test {
protected:
    void write(const CsvRows& rows)
    {
        for (const std::vector<std::string>& row : rows) {
            for (const std::string& cell : row)
                mStream.writeCell(cell);
            mStream.endRow();
        }
    }

    DeviceStub mDevice;
    qzCsvStream mStream{&mDevice, ',', '"', "\n"};
};

// --- Cells

struct CellRow {
    const char* name;
    std::string cell;
    std::string written;
};

class qzCsvStreamCell : public ::testing::TestWithParam<CellRow> {};

TEST_P(qzCsvStreamCell, IsWritten)
{
    DeviceStub device;
    qzCsvStream stream(&device, ',', '"', "\n");
    stream.writeCell(GetParam().cell.data(), GetParam().cell.size());
    EXPECT_TRUE(stream.isOk());
    EXPECT_EQ(device.getContent(), GetParam().written);
}

INSTANTIATE_TEST_SUITE_P(
    Cells, qzCsvStreamCell,
    ::testing::Values(CellRow{"Plain", "abc", "abc"}, CellRow{"Empty", "", ""},
                      CellRow{"Blank", " a ", " a "}, CellRow{"Comma", "a,b", "\"a,b\""},
                      CellRow{"CommaAlone", ",", "\",\""}, CellRow{"Quote", "a\"b", "\"a\"\"b\""},
                      CellRow{"QuoteAlone", "\"", "\"\"\"\""},
                      CellRow{"Quotes", "\"\"", "\"\"\"\"\"\""},
                      CellRow{"LineFeed", "a\nb", "\"a\nb\""},
                      CellRow{"CarriageReturn", "a\rb", "\"a\rb\""}, CellRow{"Tab", "a\tb", "a\tb"},
                      CellRow{"Semicolon", "a;b", "a;b"}, CellRow{"Apostrophe", "it's", "it's"},
                      CellRow{"EmbeddedZero", std::string("a\0b", 3), std::string("a\0b", 3)},
                      CellRow{"NotUtf8", "\xff\xfe", "\xff\xfe"},
                      CellRow{"LastOfManyBytes", std::string(100, 'x') + ",",
                              "\"" + std::string(100, 'x') + ",\""},
                      CellRow{"ManyBytes", std::string(100000, 'x'), std::string(100000, 'x')}),
    [](const auto& row) { return row.param.name; });

TEST_F(qzCsvStreamTest, FindsEachSpecialByteAtEachPlace)
{
    for (const char special : {',', '"', '\n', '\r'}) {
        for (std::size_t size = 1; size < 40; ++size) {
            for (std::size_t at = 0; at < size; ++at) {
                std::string cell(size, 'x');
                cell[at] = special;
                DeviceStub device;
                qzCsvStream(&device, ',', '"', "").writeCell(cell);
                ASSERT_EQ(device.getContent(), plain::writeCsvCell(cell, ',', '"'))
                    << "size " << size << ", place " << at;
            }
        }
    }
}

TEST_F(qzCsvStreamTest, FindsNothingSpecialInPlainTextsOfAllSizes)
{
    for (const auto& [column, quote] : {std::pair(',', '"'), std::pair('\0', '\0')}) {
        for (std::size_t size = 0; size < 70; ++size) {
            const std::string cell(size, 'x');
            DeviceStub device;
            qzCsvStream(&device, column, quote, "").writeCell(cell);
            ASSERT_EQ(device.getContent(), cell) << "size " << size;
        }
    }
}

TEST_F(qzCsvStreamTest, DoublesTheDelimiterAtEachPlace)
{
    for (std::size_t size = 1; size < 20; ++size) {
        for (std::size_t first = 0; first < size; ++first) {
            for (std::size_t second = first; second < size; ++second) {
                std::string cell(size, ',');
                cell[first] = cell[second] = '"';
                DeviceStub device;
                qzCsvStream(&device, ',', '"', "").writeCell(cell);
                ASSERT_EQ(device.getContent(), plain::writeCsvCell(cell, ',', '"'));
            }
        }
    }
}

TEST_F(qzCsvStreamTest, WritesAPlainCellInOneCallAndAQuotedOneInThree)
{
    mStream.writeCell("ab");
    mStream.writeCell("c,");
    mStream.writeCell("");
    EXPECT_THAT(mDevice.getCalls(), ElementsAre("write 2 -> 2", "write 1 -> 1", "write 1 -> 1",
                                                "write 2 -> 2", "write 1 -> 1", "write 1 -> 1"));
    EXPECT_EQ(mDevice.getContent(), "ab,\"c,\",");
}

// --- Rows

TEST_F(qzCsvStreamTest, PutsTheLineEndBeforeEachRowButTheFirst)
{
    write({{"a", "b"}, {"c"}});
    EXPECT_EQ(mDevice.getContent(), "a,b\nc");
    write({{"d"}});
    EXPECT_EQ(mDevice.getContent(), "a,b\nc\nd");
}

TEST_F(qzCsvStreamTest, WritesAnEmptyCellAsNothingAndTheDelimiterAfterIt)
{
    write({{"", "a", "", ""}, {""}, {"", "b"}});
    EXPECT_EQ(mDevice.getContent(), ",a,,\n\n,b");
}

TEST_F(qzCsvStreamTest, WritesNothingForARowWithoutCells)
{
    write({{}, {}, {"a"}});
    EXPECT_EQ(mDevice.getContent(), "\na")
        << "two rows are counted, but only one cell begins a line";
    EXPECT_EQ(mStream.getRowCount(), 3U);
}

TEST_F(qzCsvStreamTest, CountsCellsAndRows)
{
    mStream.writeCell("a");
    mStream.writeCell("");
    EXPECT_EQ(mStream.getCellCount(), 2U);
    EXPECT_EQ(mStream.getRowCount(), 0U);
    mStream.endRow();
    EXPECT_EQ(mStream.getCellCount(), 0U);
    EXPECT_EQ(mStream.getRowCount(), 1U);
}

TEST(qzCsvStreamLineEnd, IsWrittenUnchanged)
{
    for (const std::string& lineEnd : {std::string("\r\n"), std::string(), std::string("\0|", 2)}) {
        DeviceStub device;
        qzCsvStream stream(&device, ';', '\'', lineEnd);
        stream.writeCell("a");
        stream.endRow();
        stream.writeCell("b;'\"");
        EXPECT_EQ(device.getContent(), "a" + lineEnd + "'b;''\"'");
        EXPECT_TRUE(stream.isOk());
    }
}

// --- Devices

TEST(qzCsvStreamDevice, NoneIsAFailureAtTheFirstCell)
{
    qzCsvStream stream(nullptr, ',', '"', "\n");
    EXPECT_TRUE(stream.isOk());
    stream.writeCell("a");
    EXPECT_FALSE(stream.isOk());
    EXPECT_EQ(stream.getCellCount(), 0U);
}

TEST(qzCsvStreamDevice, NoneIsAFailureAtTheEndOfARow)
{
    qzCsvStream stream(nullptr, ',', '"', "\n");
    stream.endRow();
    EXPECT_FALSE(stream.isOk());
    EXPECT_EQ(stream.getRowCount(), 0U);
}

TEST_F(qzCsvStreamTest, BeginsAnewOnAnotherDevice)
{
    write({{"a"}});
    mStream.writeCell("b");
    DeviceStub other;
    mStream.setDevice(&other);
    EXPECT_EQ(mStream.getRowCount(), 0U);
    EXPECT_EQ(mStream.getCellCount(), 0U);
    write({{"c"}});
    EXPECT_EQ(mDevice.getContent(), "a\nb");
    EXPECT_EQ(other.getContent(), "c");
}

TEST_F(qzCsvStreamTest, ForgetsAFailureWithAnotherDevice)
{
    mDevice.stopAfter(0);
    mStream.writeCell("a");
    ASSERT_FALSE(mStream.isOk());
    mStream.setDevice(nullptr);
    EXPECT_TRUE(mStream.isOk());
    DeviceStub other;
    mStream.setDevice(&other);
    mStream.writeCell("b");
    EXPECT_TRUE(mStream.isOk());
    EXPECT_EQ(other.getContent(), "b");
}

// A cell of many quotes takes as much memory as it had, and none before the next one.
TEST_F(qzCsvStreamTest, FreesTheMemoryOfItsLongestCellWithItsDevice)
{
    class Sink : public DeviceStub {
    public:
        unsigned long writeBytes(const char* /*src*/, unsigned long size) override { return size; }
    };
    Sink sink;
    const std::string cell(100000, '"');
    const auto countBytes = [&] {
        const support::AllocationCounter counter;
        mStream.writeCell(cell);
        return counter.getBytes();
    };
    mStream.setDevice(&sink);
    EXPECT_GE(countBytes(), 200000U);
    EXPECT_EQ(countBytes(), 0U);
    mStream.setDevice(nullptr);
    mStream.setDevice(&sink);
    EXPECT_GE(countBytes(), 200000U);
}

TEST_F(qzCsvStreamTest, WritesNothingMoreAfterARefusal)
{
    mDevice.stopAfter(1);
    mStream.writeCell("ab");
    EXPECT_FALSE(mStream.isOk());
    mDevice.stopAfter(100);
    mDevice.clearCalls();
    mStream.writeCell("c");
    EXPECT_EQ(mStream.getCellCount(), 1U);
    mStream.endRow();
    EXPECT_EQ(mStream.getRowCount(), 1U) << "a row ends wherever there is a device";
    mStream.writeCell("d");
    EXPECT_FALSE(mStream.isOk());
    EXPECT_EQ(mDevice.getContent(), "a");
    EXPECT_THAT(mDevice.getCalls(), IsEmpty());
}

TEST_F(qzCsvStreamTest, CountsACellWhoseDelimiterWasRefused)
{
    mStream.writeCell("a");
    mDevice.stopAfter(0);
    mStream.writeCell("b");
    EXPECT_FALSE(mStream.isOk());
    EXPECT_EQ(mStream.getCellCount(), 2U);
    mStream.endRow();
    EXPECT_THAT(mDevice.getCalls(), ElementsAre("write 1 -> 1", "write 1 -> 0"));
}

TEST_F(qzCsvStreamTest, StopsAtWhateverByteTheDeviceFails)
{
    const CsvRows rows{{"a", "b,c", ""}, {"\"", "d"}};
    const std::string all = plain::writeCsv(rows, ',', '"', "\n");
    for (std::size_t bytes = 0; bytes <= all.size(); ++bytes) {
        DeviceStub device;
        device.stopAfter(bytes);
        mStream.setDevice(&device);
        write(rows);
        EXPECT_EQ(mStream.isOk(), bytes == all.size()) << bytes;
        EXPECT_EQ(device.getContent(), all.substr(0, bytes));
        EXPECT_EQ(mStream.getRowCount(), 2U);
    }
}

// --- Against the plain form

TEST(qzCsvStreamAllCells, AreWrittenLikeThePlainForm)
{
    const std::string letters("a,\"\n\r\0\xe9;", 8);
    const char delimiters[][2] = {{',', '"'},  {'"', '"'},  {'\0', '"'},   {',', '\0'},
                                  {'\n', ','}, {'a', '\r'}, {'\xe9', '"'}, {',', '\xe9'}};
    for (const auto& [column, quote] : delimiters) {
        std::vector<std::string> cells{""};
        for (std::size_t at = 0; at < cells.size(); ++at) {
            const std::string cell = cells[at];
            DeviceStub device;
            qzCsvStream stream(&device, column, quote, "\n");
            stream.writeCell(cell);
            stream.writeCell(cell);
            stream.endRow();
            stream.writeCell(cell);
            ASSERT_EQ(device.getContent(),
                      plain::writeCsv({{cell, cell}, {cell}}, column, quote, "\n"))
                << ::testing::PrintToString(cell);
            if (cell.size() == 3) continue;
            for (const char letter : letters)
                cells.push_back(cell + letter);
        }
    }
}

TEST(qzCsvStreamGenerated, TablesAreWrittenLikeThePlainForm)
{
    const unsigned seed = 20;
    std::mt19937 random(seed);
    const std::string letters("abcdefghijklmnopqrstuvwxyz\xc3\xa9,\"\n\r");
    for (int round = 0; round < 100; ++round) {
        CsvRows rows(1 + random() % 5);
        for (auto& row : rows) {
            row.resize(1 + random() % 5);
            for (std::string& cell : row)
                for (auto left = random() % 60; left > 0; --left)
                    cell += letters[random() % (random() % 3 == 0 ? letters.size() : 26)];
        }
        DeviceStub device;
        qzCsvStream stream(&device, ',', '"', "\r\n");
        for (const auto& row : rows) {
            for (const std::string& cell : row)
                stream.writeCell(cell);
            stream.endRow();
        }
        ASSERT_EQ(device.getContent(), plain::writeCsv(rows, ',', '"', "\r\n"))
            << "seed " << seed << ", round " << round;
    }
}

}  // namespace

}  // namespace qz
