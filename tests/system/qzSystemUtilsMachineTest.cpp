// SPDX-License-Identifier: MIT
#include <qz/qzSystemUtils.h>

#include <cstddef>
#include <cstring>
#include <fstream>
#include <stdexcept>
#include <string>

#include <limits.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qz/qzStringUtils.h>

#include "support/ChildProcess.h"
#include "support/Environment.h"
#include "support/LibraryStart.h"
#include "support/ScratchFolder.h"

namespace qz {

using ::testing::IsEmpty;

namespace {

using DisplayDevice = qzSystemUtils::DirectXDeviceInfo;

static_assert(sizeof(DisplayDevice) == 56);
static_assert(offsetof(DisplayDevice, description) == 0 &&
              offsetof(DisplayDevice, dedicatedVideoMemory) == 32 &&
              offsetof(DisplayDevice, dedicatedSystemMemory) == 40 &&
              offsetof(DisplayDevice, sharedSystemMemory) == 48);

class qzSystemUtilsMachineTest : public ::testing::Test {
protected:
    support::LibraryStart mLibrary{LightInit};
};

}  // namespace

TEST_F(qzSystemUtilsMachineTest, KnowsProcessorsAndMemory)
{
    EXPECT_EQ(qzSystemUtils::GetIdealThreadCount(),
              static_cast<unsigned>(::sysconf(_SC_NPROCESSORS_ONLN)));
    std::ifstream file("/proc/meminfo");
    std::string word;
    unsigned long kibibytes = 0;
    file >> word >> kibibytes;
    EXPECT_EQ(qzSystemUtils::GetRamQuantityInBytes(), kibibytes * 1024);
}

TEST_F(qzSystemUtilsMachineTest, NamesTheSystemWithABlankAfterEachField)
{
    utsname system = {};
    ASSERT_EQ(::uname(&system), 0);
    EXPECT_EQ(qzSystemUtils::GetOSInfo(),
              std::string(system.sysname) + ' ' + system.release + ' ' + system.version + ' ');
}

TEST_F(qzSystemUtilsMachineTest, AnswersWhatOtherPlatformsHaveWithNothing)
{
    EXPECT_THAT(qzSystemUtils::GetDirectXDevices(), IsEmpty());
    EXPECT_TRUE(qzSystemUtils::GetRegistryValue("a", "b", "c").isNull());
    EXPECT_EQ(getMainHDDDevice(), "");
}

TEST_F(qzSystemUtilsMachineTest, HasTwoEmptyQueryResults)
{
    qzVariant::qzVariantMapImpl& first = qzSystemUtils::GetWmicInfo(false);
    qzVariant::qzVariantMapImpl& second = qzSystemUtils::GetWmicInfo(true);
    EXPECT_NE(&first, &second);
    EXPECT_TRUE(first.empty());
    EXPECT_TRUE(second.empty());
    EXPECT_EQ(&qzSystemUtils::GetWmicInfo(false), &first);
    first["kept"] = 1;
    EXPECT_EQ(qzSystemUtils::GetWmicInfo(false).size(), 1U) << "only the first call empties them";
}

TEST_F(qzSystemUtilsMachineTest, NamesTheComputer)
{
    char name[HOST_NAME_MAX + 1] = {};
    ASSERT_EQ(::gethostname(name, sizeof name), 0);
    EXPECT_EQ(qzSystemUtils::GetLocalComputerName(), name);
}

TEST_F(qzSystemUtilsMachineTest, NamesAUserWithAShortNameOnly)
{
    char name[256] = {};
    const bool hasName = ::getlogin_r(name, sizeof name) == 0 && std::strlen(name) < 8;
    EXPECT_EQ(qzSystemUtils::GetCurrentUserNameUtf8(), hasName ? name : "");
}

TEST_F(qzSystemUtilsMachineTest, KnowsItsProgram)
{
    char path[PATH_MAX] = {};
    ASSERT_GT(::readlink("/proc/self/exe", path, sizeof path - 1), 0);
    const std::string whole = path;
    const std::size_t slash = whole.rfind('/');
    EXPECT_EQ(qzSystemUtils::GetProgramFullPath(), whole);
    EXPECT_EQ(qzSystemUtils::GetProgramFolder(), whole.substr(0, slash));
    EXPECT_EQ(qzSystemUtils::GetProgramName(), whole.substr(slash + 1));
}

// --- Libraries -------------------------------------------------------------------------------

TEST_F(qzSystemUtilsMachineTest, RecordsLibraries)
{
    impl::RegisterThirdPartyLibVersionInfo("one", "1.0");
    impl::RegisterThirdPartyLibVersionInfo("two", nullptr);
    impl::RegisterThirdPartyLibVersionInfo("one", "1.1");
    qzVariant::qzVariantMapImpl& versions = qzSystemUtils::GetThirdPartyLibVersionInfo();
    EXPECT_EQ(versions.size(), 2U);
    EXPECT_EQ(versions["one"], qzVariant("1.1"));
    EXPECT_EQ(versions["two"], qzVariant("n/a"));
    impl::UnRegisterThirdPartyLibVersionInfo("one");
    impl::UnRegisterThirdPartyLibVersionInfo("none");
    EXPECT_EQ(versions.size(), 1U);
}

TEST_F(qzSystemUtilsMachineTest, RefusesALibraryWithoutAName)
{
    const auto refuse = [](const auto& call) {
        try {
            call();
        } catch (const std::logic_error& error) {
            return std::string(error.what());
        }
        return std::string("accepted");
    };
    EXPECT_EQ(refuse([] { impl::RegisterThirdPartyLibVersionInfo(nullptr, "1"); }),
              "a library needs a name");
    EXPECT_EQ(refuse([] { impl::UnRegisterThirdPartyLibVersionInfo(nullptr); }),
              "a library needs a name");
}

TEST(qzSystemUtilsCallsTest, AreAnsweredOddly)
{
    const support::EnvironmentLocale locale("en_US.ISO-8859-1");
    const support::ChildResult result = support::runProgram({.program = "machine_calls"});
    EXPECT_EQ(result.out, "[r ]\n[abcde\u00e9] of 8\n2049 of 2049\n");
    EXPECT_EQ(result.getEnd(), "exit 0") << result.err;
}

TEST(qzSystemUtilsCallsTest, AreNotAnswered)
{
    const support::ChildResult result =
        support::runProgram({.program = "machine_calls", .arguments = {"fail"}});
    EXPECT_EQ(result.out, "[Unknown OS]\n[] of 8\n0 of 2049\n0 bytes, 1 threads\n");
    EXPECT_EQ(result.getEnd(), "exit 0") << result.err;
}

// A program that another thread starts meanwhile would inherit them.
TEST(qzSystemUtilsFilesTest, AreCloseOnExecWhileTheyAreOpen)
{
    const support::ScratchFolder folder;
    const support::ChildResult result =
        support::runProgram({.program = "close_flags", .arguments = {folder.getPath()}});
    EXPECT_EQ(result.out, "end\n");
    EXPECT_EQ(result.getEnd(), "exit 0") << result.err;
}

TEST(qzSystemUtilsRestartTest, EndsWithoutAStart)
{
    qzSystemUtils::TerminateSystemUtils();
    qzSystemUtils::TerminateSystemUtils();
}

TEST(qzSystemUtilsRestartTest, ForgetsLibrariesAtTheStop)
{
    {
        const support::LibraryStart library(LightInit);
        impl::RegisterThirdPartyLibVersionInfo("one", "1.0");
    }
    const support::LibraryStart library(LightInit);
    EXPECT_TRUE(qzSystemUtils::GetThirdPartyLibVersionInfo().empty());
}

// --- The report ------------------------------------------------------------------------------

TEST_F(qzSystemUtilsMachineTest, ReportsTheHardware)
{
    impl::RegisterThirdPartyLibVersionInfo("one", "1.0");
    qzVariant::qzVariantMapImpl report;
    report["kept"] = true;
    qzSystemUtils::GenerateHardwareReport(report, true);
    EXPECT_EQ(report.size(), 7U);
    EXPECT_EQ(report["CPU"], qzVariant(qzSystemUtils::GetCPUInfo().toVariantMap()));
    EXPECT_EQ(report["RAM"],
              qzVariant(qzStringUtils::humanizeNumberGeneric<unsigned long>(
                            qzSystemUtils::GetRamQuantityInBytes(), 3, 1, true, true, false) +
                        "B"));
    EXPECT_EQ(report["LogicalCore"],
              qzVariant(static_cast<long>(qzSystemUtils::GetIdealThreadCount())));
    EXPECT_EQ(report["OS"], qzVariant(qzSystemUtils::GetOSInfo()));
    ASSERT_NE(report["DirectX Devices"].getList(), nullptr);
    EXPECT_TRUE(report["DirectX Devices"].getList()->empty());
    ASSERT_NE(report["thirdparty"].getMap(), nullptr);
    EXPECT_EQ(report["thirdparty"].getMap()->size(), 1U);

    qzVariant::qzVariantMapImpl brief;
    brief["kept"] = true;
    qzSystemUtils::GenerateHardwareReport(brief, false);
    EXPECT_EQ(qzVariant(brief), qzVariant(report));
}

TEST_F(qzSystemUtilsMachineTest, DescribesADevice)
{
    qzSystemUtils::DirectXDeviceInfo device;
    EXPECT_EQ(device.description, "");
    EXPECT_EQ(device.dedicatedVideoMemory, 0U);
    EXPECT_EQ(device.dedicatedSystemMemory, 0U);
    EXPECT_EQ(device.sharedSystemMemory, 0U);
    qzVariant::qzVariantMapImpl map = device.toVariantMap();
    EXPECT_EQ(map.size(), 4U);
    EXPECT_EQ(map["dedicatedmemory"], qzVariant(""));
    device = {};
    device.description = "a display";
    device.dedicatedVideoMemory = 3UL << 30;
    device.dedicatedSystemMemory = 1536;
    device.sharedSystemMemory = 1;
    map = device.toVariantMap();
    EXPECT_EQ(map["description"], qzVariant("a display"));
    EXPECT_EQ(map["dedicatedmemory"], qzVariant("3GB of Dedicated Video RAM"));
    EXPECT_EQ(map["dedicatedsystemmemory"], qzVariant("1.5kB of Dedicated System RAM"));
    EXPECT_EQ(map["sharedsystemmemory"], qzVariant("1B of Shared System RAM"));
    device.dedicatedVideoMemory = 1'264'196'608;  // 1.177 times 2^30
    device.dedicatedSystemMemory = 129'536'000;   // 123.535 times 2^20
    map = device.toVariantMap();
    EXPECT_EQ(map["dedicatedmemory"], qzVariant("1.2GB of Dedicated Video RAM"));
    EXPECT_EQ(map["dedicatedsystemmemory"], qzVariant("124MB of Dedicated System RAM"));
}

}  // namespace qz
