// The code of the guide to data that survives: it is the same as here, and does what the guide
// says.

#include <cerrno>
#include <map>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qz/ext/FileLock.h>
#include <qz/ext/SafeFiles.h>
#include <qz/qzCsvStream.h>
#include <qz/qzDirUtils.h>
#include <qz/qzIniFile.h>
#include <qz/qzIoDeviceMemoryChunkAndSwapBuffer.h>
#include <qz/qzLogObject.h>

#include "ext/GuideBlocks.h"
#include "ext/SafeFilesFixture.h"
#include "support/LogCapture.h"

namespace guide {

bool saveSettings(const std::string& path, const qz::qzVariant::qzVariantMapImpl& settings)
{
    qz::ext::SystemFailure failure;
    if (qz::ext::saveIniFileAtomically(path, settings, /*merge=*/false, &failure)) return true;
    qz::logWarning() << "the old settings stay: " << failure.toString();
    return false;
}

bool saveStock(const std::string& path, const std::map<std::string, int>& stock)
{
    qz::ext::AtomicFile file;
    qz::ext::SystemFailure failure;
    if (file.openUtf8(path, &failure)) {
        qz::qzCsvStream table(&file, ',', '"', "\n");
        for (const auto& [name, count] : stock) {
            table.writeCell(name);
            table.writeCell(std::to_string(count));
            table.endRow();
        }
        if (file.commit(&failure)) return true;
    }
    qz::logWarning() << "the old table stays: " << failure.toString();
    return false;
}

bool saveRecords(qz::qzIoDeviceMemoryChunkAndSwapBuffer& records, const std::string& path)
{
    qz::ext::SystemFailure failure;
    if (records.seek(0, qz::qzIoDeviceRandomAccess::SeekFromBegin) &&
        qz::ext::saveDeviceAtomically(path, records, &failure))
        return true;
    qz::logWarning() << "not saved: " << failure.toString();
    return false;
}

bool countVisit(const std::string& path)
{
    const int timeoutMs = 10'000;
    qz::ext::FileLock lock;
    qz::ext::SystemFailure failure;
    if (lock.lockUtf8(path + ".lock", qz::ext::FileLock::Exclusive, timeoutMs,
                      /*cancel=*/nullptr, &failure)) {
        qz::qzVariant::qzVariantMapImpl counts;
        qz::LoadIniFile(path, counts);
        counts["visits"] = counts["visits"].toInteger() + 1;
        if (qz::ext::saveIniFileAtomically(path, counts, /*merge=*/false, &failure)) return true;
    }
    qz::logWarning() << "not counted: " << failure.toString();
    return false;
}

bool renewFolder(const std::string& folder, const std::string& source,
                 const std::vector<std::string>& names)
{
    const qz::ext::RemovedTree removed = qz::ext::removeTreeNoFollow(folder);
    if (!removed && removed.failure.error != ENOENT) {
        qz::logWarning() << "not removed: " << removed.failure.toString();
        return false;
    }
    qz::qzDirUtils::MkpathUtf8(folder);
    for (const std::string& name : names) {
        qz::ext::SystemFailure failure;
        if (qz::ext::copyFileChecked(qz::qzDirUtils::JoinPath(source, name),
                                     qz::qzDirUtils::JoinPath(folder, name), &failure))
            continue;
        qz::logWarning() << "not copied: " << failure.toString();
        return false;
    }
    return true;
}

}  // namespace guide

namespace qz::ext {

using ::testing::ElementsAre;
using GuideSafeFilesCodeTest = SafeFilesTest;

TEST(GuideSafeFilesTest, IsTheCodeOfThisFile)
{
    const std::string source = readProjectFile("tests/ext/GuideSafeFilesCodeTest.cpp");
    const std::vector<std::string> blocks = readGuideBlocks("docs/guide-safe-files.md");
    EXPECT_EQ(blocks.size(), 5U);
    for (const std::string& block : blocks)
        EXPECT_NE(source.find('\n' + block), std::string::npos) << block;
}

TEST_F(GuideSafeFilesCodeTest, SavesSettingsOrKeepsThem)
{
    const support::LogCapture log;
    EXPECT_TRUE(guide::saveSettings(mPath, {{"a", 1}}));
    EXPECT_FALSE(guide::saveSettings(mPath, {{"a", 2}, {"b", qzVariant::qzVariantListImpl{1}}}));
    EXPECT_EQ(getTarget(), "[General]\na=1\n");
}

TEST_F(GuideSafeFilesCodeTest, SavesATable)
{
    const support::LogCapture log;
    EXPECT_TRUE(guide::saveStock(mPath, {{"nut", 3}, {"bolt, long", 5}}));
    EXPECT_EQ(getTarget(), "\"bolt, long\",5\nnut,3");
    EXPECT_FALSE(guide::saveStock(mFolder.getPath("none/stock"), {}));
}

TEST_F(GuideSafeFilesCodeTest, SavesABuffer)
{
    const support::LogCapture log;
    qzIoDeviceMemoryChunkAndSwapBuffer records(mFolder.getPath("swap"), 4096, 4096, 65536);
    records << "one record";
    EXPECT_TRUE(guide::saveRecords(records, mPath));
    EXPECT_EQ(getTarget(), "one record");
    EXPECT_FALSE(guide::saveRecords(records, mFolder.getPath("none/records")));
}

TEST_F(GuideSafeFilesCodeTest, CountsEachVisit)
{
    const support::LogCapture log;
    const std::string path = mFolder.getPath("counts");
    EXPECT_TRUE(guide::countVisit(path));
    EXPECT_TRUE(guide::countVisit(path));
    EXPECT_EQ(mFolder.read("counts"), "[General]\nvisits=2\n");
    EXPECT_FALSE(guide::countVisit(mFolder.getPath("none/counts")));
}

TEST_F(GuideSafeFilesCodeTest, ReplacesAFolder)
{
    const support::LogCapture log;
    const std::string folder = mFolder.getPath("folder");
    mFolder.write("other", "other");
    EXPECT_TRUE(guide::renewFolder(folder, mFolder.getPath(), {"target"}));
    EXPECT_TRUE(guide::renewFolder(folder, mFolder.getPath(), {"other"}));
    EXPECT_THAT(list(folder), ElementsAre("other"));
    EXPECT_FALSE(guide::renewFolder(folder, mFolder.getPath(), {"none"}));
}

}  // namespace qz::ext
