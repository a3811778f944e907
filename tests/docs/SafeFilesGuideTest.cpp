// SPDX-License-Identifier: MIT
// The code of the guide to data that survives does what the text says.

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

#include "ext/SafeFilesFixture.h"
#include "support/LogCapture.h"

namespace guide {

#include "samples/save-settings.inc"

#include "samples/save-stock.inc"

#include "samples/save-records.inc"

#include "samples/count-visit.inc"

#include "samples/renew-folder.inc"

}  // namespace guide

namespace qz::ext {

using ::testing::ElementsAre;
using SafeFilesGuideTest = SafeFilesTest;

TEST_F(SafeFilesGuideTest, SavesSettingsOrKeepsThem)
{
    const support::LogCapture log;
    EXPECT_TRUE(guide::saveSettings(mPath, {{"a", 1}}));
    EXPECT_FALSE(guide::saveSettings(mPath, {{"a", 2}, {"b", qzVariant::qzVariantListImpl{1}}}));
    EXPECT_EQ(getTarget(), "[General]\na=1\n");
}

TEST_F(SafeFilesGuideTest, SavesATable)
{
    const support::LogCapture log;
    EXPECT_TRUE(guide::saveStock(mPath, {{"nut", 3}, {"bolt, long", 5}}));
    EXPECT_EQ(getTarget(), "\"bolt, long\",5\nnut,3");
    EXPECT_FALSE(guide::saveStock(mFolder.getPath("none/stock"), {}));
}

TEST_F(SafeFilesGuideTest, SavesABuffer)
{
    const support::LogCapture log;
    qzIoDeviceMemoryChunkAndSwapBuffer records(mFolder.getPath("swap"), 4096, 4096, 65536);
    records << "one record";
    EXPECT_TRUE(guide::saveRecords(records, mPath));
    EXPECT_EQ(getTarget(), "one record");
    EXPECT_FALSE(guide::saveRecords(records, mFolder.getPath("none/records")));
}

TEST_F(SafeFilesGuideTest, CountsEachVisit)
{
    const support::LogCapture log;
    const std::string path = mFolder.getPath("counts");
    EXPECT_TRUE(guide::countVisit(path));
    EXPECT_TRUE(guide::countVisit(path));
    EXPECT_EQ(mFolder.read("counts"), "[General]\nvisits=2\n");
    EXPECT_FALSE(guide::countVisit(mFolder.getPath("none/counts")));
}

TEST_F(SafeFilesGuideTest, ReplacesAFolder)
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
