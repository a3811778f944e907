// SPDX-License-Identifier: MIT
// Reports of trouble are out when the call that made them returns.

#include <atomic>
#include <chrono>
#include <filesystem>
#include <functional>
#include <list>
#include <string>
#include <thread>

#include <gtest/gtest.h>

#include <qz/SoftwareVersionInfoForStream.h>
#include <qz/qzCsvFileWriter.h>
#include <qz/qzIniFile.h>
#include <qz/qzIoDeviceBroadcast.h>
#include <qz/qzIoDeviceByteCounter.h>
#include <qz/qzIoDeviceMemoryChunkAndSwapBuffer.h>
#include <qz/qzLog.h>

#include "support/DeviceStub.h"
#include "support/LibraryStart.h"
#include "support/ScratchFolder.h"

namespace qz {

namespace {

using Buffer = qzIoDeviceMemoryChunkAndSwapBuffer;
using Folder = support::ScratchFolder;

struct Report {
    const char* name;
    const char* message;  // its begin
    std::function<void(const Folder&)> makeIt;
};

// A buffer with bytes in its swap file, which is then changed by someone else.
void breakSwapFile(const Folder& folder, const std::function<void(const std::string&)>& change)
{
    Buffer buffer(folder.getPath("swap"), 10, 10, 10);
    buffer.writeBytes(std::string(100'010, 'x').data(), 100'010);
    buffer.seek(10, Buffer::SeekFromBegin);
    for (const auto& entry : std::filesystem::directory_iterator(folder.getPath("swap")))
        change(entry.path());
    support::DeviceStub destination;
    buffer.writeBackToDevice(destination, nullptr, nullptr);
}

const Report kReports[] = {
    {"BroadcastAtEnd", "qzIoDeviceBroadcast atEnd is not supported",
     [](const Folder&) { qzIoDeviceBroadcast({}).atEnd(); }},
    {"FilterThatRefuses", "qzIoDeviceDelegable call read on a write delegation mode device",
     [](const Folder&) {
         char byte = 0;
         qzIoDeviceByteCounter().readBytes(&byte, 1);
     }},
    {"LoadIniFile", "Duplicated key at line",
     [](const Folder& folder) {
         qzVariant::qzVariantMapImpl map;
         LoadIniFile(folder.write("a.ini", "a=1\na=2\n"), map);
     }},
    {"SaveIniFileOfAList", "saveVariantToIni unsupported variant type",
     [](const Folder& folder) {
         SaveIniFile(folder.getPath("a.ini"), {{"a", qzVariant::qzVariantListImpl{1}}},
                     /*merge=*/false);
     }},
    {"CsvFileWriter", "Fail to open csv file ",
     [](const Folder& folder) {
         qzCsvFileWriter(folder.getPath("missing"), "a", 10, ',', '"', "\n", false).getStream();
     }},
    {"SwapFileThatHasBeenCut", "Fail to read back data from swap",
     [](const Folder& folder) {
         breakSwapFile(folder, [](const auto& path) { std::filesystem::resize_file(path, 10); });
     }},
    {"SwapFileThatHasBeenRemoved", "Fail to remove swap file ",
     [](const Folder& folder) {
         breakSwapFile(folder, [](const auto& path) { std::filesystem::remove(path); });
     }},
    {"StreamVersion", "This stream was generated from a ",
     [](const Folder&) {
         SoftwareVersionInfoForStream info;
         info.beta = false;
         info.plotWarningIfDetectBetaOrDev("beta");
     }},
};

// A handler that takes its time before it counts an entry, so that a caller that doesn't wait for
// it is far away by then.
struct SlowHandler {
    static void Receive(std::list<qzLog::LogEntry>& batch, void* handler)
    {
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
        auto& self = *static_cast<SlowHandler*>(handler);
        for (const qzLog::LogEntry& entry : batch)
            if (entry.message.rfind(self.message, 0) == 0) ++self.count;
    }
    const char* message;
    std::atomic<int> count = 0;
};

class SynchronousReportsTest : public ::testing::TestWithParam<Report> {};

}  // namespace

TEST_P(SynchronousReportsTest, AreOutWhenTheCallReturns)
{
    const support::LibraryStart library(FullInit);
    const Folder folder;
    SlowHandler handler{GetParam().message};
    qzLog::msInstance->installCustomHandler(&SlowHandler::Receive, &handler);
    qzLog::msInstance->setEchoToConsole(false);
    GetParam().makeIt(folder);
    const int count = handler.count;
    qzLog::msInstance->setEchoToConsole(true);
    qzLog::msInstance->installCustomHandler(nullptr, nullptr);
    EXPECT_GE(count, 1);
}

INSTANTIATE_TEST_SUITE_P(Rows, SynchronousReportsTest, ::testing::ValuesIn(kReports),
                         [](const auto& row) { return std::string(row.param.name); });

}  // namespace qz
