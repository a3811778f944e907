// SPDX-License-Identifier: MIT
#include <qz/ext/ContainerLimits.h>

#include <filesystem>
#include <string>
#include <thread>

#include <sched.h>
#include <sys/stat.h>

#include <gtest/gtest.h>

#include "support/ScratchFolder.h"

namespace qz::ext {

namespace {

namespace fs = std::filesystem;

const char* const kMount2 = "41 31 0:38 / /sys/fs/cgroup rw - cgroup2 cgroup2 rw\n";
const char* const kMountsOfVersion1 =
    "32 31 0:29 / /sys/fs/cgroup/cpu rw - cgroup cgroup rw,cpu,cpuacct\n"
    "35 31 0:32 / /sys/fs/cgroup/memory rw - cgroup cgroup rw,memory\n";
const char* const kUnlimitedMemory1 = "9223372036854771712\n";

// A tree of files as the system shows them.
class ContainerLimitsTest : public ::testing::Test {
protected:
    void write(const std::string& name, const std::string& content) const
    {
        fs::create_directories(fs::path(mRoot.getPath(name)).parent_path());
        static_cast<void>(mRoot.write(name, content));
    }
    void writeProcess(const std::string& groups, const std::string& mounts) const
    {
        write("/proc/self/cgroup", groups);
        write("/proc/self/mountinfo", mounts);
    }
    void writeGroup2(const std::string& folder, const std::string& cpu,
                     const std::string& memory) const
    {
        write("/sys/fs/cgroup" + folder + "/cpu.max", cpu);
        write("/sys/fs/cgroup" + folder + "/memory.max", memory);
    }
    void writeGroup1(const std::string& folder, const std::string& quota,
                     const std::string& memory) const
    {
        write("/sys/fs/cgroup/cpu" + folder + "/cpu.cfs_quota_us", quota);
        write("/sys/fs/cgroup/cpu" + folder + "/cpu.cfs_period_us", "100000\n");
        write("/sys/fs/cgroup/memory" + folder + "/memory.limit_in_bytes", memory);
    }
    ContainerLimits read() const { return ContainerLimits::Read(mRoot.getPath()); }
    void expectNoLimits() const
    {
        EXPECT_EQ(read().cpuQuota, std::nullopt);
        EXPECT_EQ(read().memoryBytes, std::nullopt);
    }

    support::ScratchFolder mRoot;
};

TEST_F(ContainerLimitsTest, ReadsVersion2)
{
    writeProcess("0::/job\n", kMount2);
    writeGroup2("/job", "50000 100000\n", "1073741824\n");
    EXPECT_EQ(read().cpuQuota, 0.5);
    EXPECT_EQ(read().memoryBytes, 1073741824UL);
    EXPECT_EQ(read().processors, 1U);
}

TEST_F(ContainerLimitsTest, ReadsVersion1)
{
    writeProcess("5:memory:/job\n4:cpu,cpuacct:/job\n1:name=systemd:/job\n", kMountsOfVersion1);
    writeGroup1("/job", "150000\n", "536870912\n");
    EXPECT_EQ(read().cpuQuota, 1.5);
    EXPECT_EQ(read().memoryBytes, 536870912UL);
}

TEST_F(ContainerLimitsTest, ReadsBothVersionsAtOnce)
{
    writeProcess("5:memory:/job\n4:cpu,cpuacct:/job\n0::/job\n",
                 std::string(kMountsOfVersion1) +
                     "41 31 0:38 / /sys/fs/cgroup/unified rw - cgroup2 cgroup2 rw\n");
    writeGroup1("/job", "-1\n", "536870912\n");
    write("/sys/fs/cgroup/unified/job/cpu.max", "250000 100000\n");
    EXPECT_EQ(read().cpuQuota, 2.5);
    EXPECT_EQ(read().memoryBytes, 536870912UL);
}

TEST_F(ContainerLimitsTest, TakesTheLeastLimitOfNestedGroups)
{
    writeProcess("0::/slice/service/job\n", kMount2);
    writeGroup2("/slice", "300000 100000\n", "1000000\n");
    writeGroup2("/slice/service", "40000 20000\n", "3000000\n");
    writeGroup2("/slice/service/job", "max 100000\n", "2000000\n");
    EXPECT_EQ(read().cpuQuota, 2.0);
    EXPECT_EQ(read().memoryBytes, 1000000UL);
}

TEST_F(ContainerLimitsTest, TakesTheLeastLimitOfNestedGroupsOfVersion1)
{
    writeProcess("5:memory:/a/b\n4:cpu:/a/b\n", kMountsOfVersion1);
    writeGroup1("/a", "20000\n", "1000000\n");
    writeGroup1("/a/b", "90000\n", kUnlimitedMemory1);
    EXPECT_EQ(read().cpuQuota, 0.2);
    EXPECT_EQ(read().memoryBytes, 1000000UL);
}

TEST_F(ContainerLimitsTest, FindsTheGroupOfAContainerThatSeesThePathsOfItsHost)
{
    writeProcess("0::/docker/abc/inner\n",
                 "41 31 0:38 /docker/abc /sys/fs/cgroup rw - cgroup2 cgroup2 rw\n");
    writeGroup2("/inner", "max 100000\n", "2000000\n");
    writeGroup2("", "100000 100000\n", "max\n");
    EXPECT_EQ(read().cpuQuota, 1.0);
    EXPECT_EQ(read().memoryBytes, 2000000UL);
}

TEST_F(ContainerLimitsTest, FindsMountPointsBelowTheRoot)
{
    writeProcess("0::/\n", "41 31 0:38 / /else\\040where rw - cgroup2 cgroup2 rw\n");
    write("/else where/memory.max", "4096\n");
    EXPECT_EQ(read().memoryBytes, 4096UL);
}

TEST_F(ContainerLimitsTest, KnowsTheTextsForNoLimit)
{
    writeProcess("0::/job\n5:memory:/job\n4:cpu:/job\n", std::string(kMountsOfVersion1) + kMount2);
    writeGroup2("/job", "max 100000\n", "max\n");
    writeGroup1("/job", "-1\n", kUnlimitedMemory1);
    expectNoLimits();
}

TEST_F(ContainerLimitsTest, TakesHugeNumbersForNoLimit)
{
    writeProcess("0::/job\n", kMount2);
    writeGroup2("/job", "99999999999999999999999999 100000\n", "99999999999999999999999999\n");
    EXPECT_EQ(read().memoryBytes, std::nullopt);
    EXPECT_EQ(read().processors, ContainerLimits::Read("/nowhere").processors);
}

TEST_F(ContainerLimitsTest, TakesGarbageForNoLimit)
{
    writeProcess("0::/job\n", kMount2);
    for (const std::string garbage : {"", "\n", "ten\n", "0 0\n", "-5 -5\n", "\xff\xfe", "1;2"}) {
        writeGroup2("/job", garbage, "x" + garbage);
        expectNoLimits();
    }
    writeProcess("\xff\n::::\n0::job\n\n", std::string("garbage\n - \n") + kMount2);
    writeGroup2("/job", "50000 100000\n", "1\n");
    expectNoLimits();
}

TEST_F(ContainerLimitsTest, TakesWhatIsMissingForNoLimit)
{
    expectNoLimits();
    write("/proc/self/mountinfo", kMount2);
    writeGroup2("", "50000 100000\n", "4096\n");
    expectNoLimits();  // without /proc/self/cgroup
    writeProcess("0::/gone (deleted)\n", kMount2);
    EXPECT_EQ(read().memoryBytes, 4096UL) << "the groups around a removed one remain";
    writeProcess("0::/\n", "");
    expectNoLimits();
}

TEST_F(ContainerLimitsTest, TakesWhatCannotBeReadForNoLimit)
{
    writeProcess("0::/job\n", kMount2);
    fs::create_directories(mRoot.getPath("/sys/fs/cgroup/job/cpu.max"));
    fs::create_symlink("memory.max", mRoot.getPath("/sys/fs/cgroup/job/memory.max"));
    expectNoLimits();
    write("/sys/fs/cgroup/memory.max", "4096\n");
    EXPECT_EQ(read().memoryBytes, 4096UL);
    fs::remove(mRoot.getPath("/proc/self/cgroup"));
    fs::create_directories(mRoot.getPath("/proc/self/cgroup"));
    expectNoLimits();
}

TEST_F(ContainerLimitsTest, TakesEndlessFilesForNoLimit)
{
    writeProcess("0::/job\n", kMount2);
    fs::create_directories(mRoot.getPath("/sys/fs/cgroup/job"));
    fs::create_symlink("/dev/zero", mRoot.getPath("/sys/fs/cgroup/job/cpu.max"));
    fs::create_symlink("/dev/zero", mRoot.getPath("/sys/fs/cgroup/job/memory.max"));
    ASSERT_EQ(::mkfifo(mRoot.getPath("/sys/fs/cgroup/memory.max").c_str(), 0600), 0);
    expectNoLimits();
    for (const std::string name : {"cgroup", "mountinfo"}) {
        const std::string path = mRoot.getPath("/proc/self/" + name);
        fs::remove(path);
        fs::create_symlink("/dev/zero", path);
        expectNoLimits();
    }
}

TEST_F(ContainerLimitsTest, DoesNotLeaveTheRootByTwoDots)
{
    write("/outside/memory.max", "1\n");
    write("/outside/cpu.max", "50000 100000\n");
    write("/outsider/memory.max", "1\n");
    const std::string root = mRoot.getPath("/out");
    const auto writeBelow = [&](const std::string& groups, const std::string& mounts) {
        write("/out/proc/self/cgroup", groups);
        write("/out/proc/self/mountinfo", mounts);
    };
    fs::create_directories(root + "/cg");
    for (const std::string mountPoint :
         {"/../outside", "/cg/../../outside", "side", "sider", "../outside"}) {
        writeBelow("0::/\n", "41 31 0:38 / " + mountPoint + " rw - cgroup2 cgroup2 rw\n");
        EXPECT_EQ(ContainerLimits::Read(root).memoryBytes, std::nullopt) << mountPoint;
        EXPECT_EQ(ContainerLimits::Read(root).cpuQuota, std::nullopt) << mountPoint;
    }
    for (const std::string path : {"/../../outside", "/a/../../../outside"}) {
        writeBelow("0::" + path + "\n", "41 31 0:38 / /cg rw - cgroup2 cgroup2 rw\n");
        EXPECT_EQ(ContainerLimits::Read(root).memoryBytes, std::nullopt) << path;
    }
}

TEST_F(ContainerLimitsTest, ReadsTheOuterGroupsOfAPathThatIsTooLong)
{
    // With each of its folders as a text, this path would take 250 gigabytes.
    std::string path;
    path.reserve(2'000'000);
    while (path.size() < 1'000'000)
        path += "/g";
    writeProcess("0::" + path + '\n', kMount2);
    writeGroup2("/g", "max 100000\n", "4096\n");
    EXPECT_EQ(read().memoryBytes, 4096UL);
}

TEST_F(ContainerLimitsTest, ReadsAListOfManyMounts)
{
    std::string mounts;
    for (int i = 0; i < 5000; ++i)
        mounts += "99 31 0:99 / /mnt/" + std::to_string(i) + " rw - tmpfs tmpfs rw\n";
    writeProcess("0::/\n", mounts + kMount2);
    writeGroup2("", "100000 100000\n", "4096\n");
    EXPECT_EQ(read().memoryBytes, 4096UL);
}

TEST_F(ContainerLimitsTest, CountsTheProcessorsOfTheAffinity)
{
    cpu_set_t before;
    ASSERT_EQ(::sched_getaffinity(0, sizeof before, &before), 0);
    EXPECT_EQ(read().processors, static_cast<unsigned int>(CPU_COUNT(&before)));
    std::thread([&] {
        int first = 0;
        while (!CPU_ISSET(first, &before))
            ++first;
        cpu_set_t one;
        CPU_ZERO(&one);
        CPU_SET(first, &one);
        ASSERT_EQ(::sched_setaffinity(0, sizeof one, &one), 0);
        EXPECT_EQ(read().processors, 1U);
    }).join();
}

TEST_F(ContainerLimitsTest, ReadsTheMachineItself)
{
    const ContainerLimits limits = ContainerLimits::Read();
    EXPECT_GE(limits.processors, 1U);
    EXPECT_GT(limits.memoryBytes.value_or(1), 0UL);
}

}  // namespace

}  // namespace qz::ext
