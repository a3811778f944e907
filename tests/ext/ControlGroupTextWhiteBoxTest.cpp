// SPDX-License-Identifier: MIT
#include "ext/machine/ControlGroupText.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace qz::ext {

namespace {

using ::testing::ElementsAre;
using ::testing::IsEmpty;

std::vector<std::string> listBelow(const std::string& root, const std::string& path)
{
    return listGroupFolders({{true, "", root, "/cg"}}, path);
}

}  // namespace

TEST(ExtControlGroupTextTest, ReadsMemberships)
{
    const std::vector<GroupMembership> memberships = parseMemberships(
        "4:cpu,cpuacct:/docker/a:b\n"
        "1:name=systemd:/\n"
        "0::/user.slice");
    ASSERT_EQ(memberships.size(), 3U);
    EXPECT_EQ(memberships[0].controllers, "cpu,cpuacct");
    EXPECT_EQ(memberships[0].path, "/docker/a:b");
    EXPECT_EQ(memberships[1].controllers, "name=systemd");
    EXPECT_EQ(memberships[1].path, "/");
    EXPECT_EQ(memberships[2].controllers, "");
    EXPECT_EQ(memberships[2].path, "/user.slice");
}

TEST(ExtControlGroupTextTest, ReadsNoMembershipFromOtherTexts)
{
    for (const char* const text : {"", "\n", ":", "::", "0::", "0::relative", "no colons", "\n\n"})
        EXPECT_THAT(parseMemberships(text), IsEmpty()) << text;
}

TEST(ExtControlGroupTextTest, ReadsMounts)
{
    const std::vector<GroupMount> mounts = parseMounts(
        "22 1 0:21 / /proc rw - proc proc rw\n"
        "32 31 0:29 / /sys/fs/cgroup/cpu rw,relatime shared:9 master:1 - cgroup cgroup rw,cpu\n"
        "41 31 0:38 /docker/a /mnt/two\\040words\\134 rw - cgroup2 cgroup2 rw,nsdelegate\n");
    ASSERT_EQ(mounts.size(), 2U);
    EXPECT_FALSE(mounts[0].isVersion2);
    EXPECT_TRUE(hasName(mounts[0].controllers, "cpu"));
    EXPECT_FALSE(hasName(mounts[0].controllers, "cpuacct"));
    EXPECT_EQ(mounts[0].root, "/");
    EXPECT_EQ(mounts[0].folder, "/sys/fs/cgroup/cpu");
    EXPECT_TRUE(mounts[1].isVersion2);
    EXPECT_EQ(mounts[1].root, "/docker/a");
    EXPECT_EQ(mounts[1].folder, "/mnt/two words\\");
}

TEST(ExtControlGroupTextTest, ReadsNoMountFromOtherTexts)
{
    for (const char* const text :
         {"", "\n", "cgroup", "1 2 0:3 / /cg rw cgroup cgroup rw", "1 2 0:3 / /cg rw -",
          "1 2 0:3 / /cg rw - tmpfs cgroup cgroup", "- cgroup2 cgroup2 rw", "\xff\\0"})
        EXPECT_THAT(parseMounts(text), IsEmpty()) << text;
}

TEST(ExtControlGroupTextTest, ListsAGroupAndThoseAroundIt)
{
    EXPECT_THAT(listBelow("/", "/a/b"), ElementsAre("/cg/a/b", "/cg/a", "/cg"));
    EXPECT_THAT(listBelow("/", "/"), ElementsAre("/cg"));
    EXPECT_THAT(listBelow("/a", "/a/b"), ElementsAre("/cg/b", "/cg"));
    EXPECT_THAT(listBelow("/a", "/a"), ElementsAre("/cg"));
}

TEST(ExtControlGroupTextTest, TakesTheMountPointIfNoMountShowsTheGroup)
{
    EXPECT_THAT(listBelow("/a", "/ab"), ElementsAre("/cg"));
    EXPECT_THAT(listBelow("/a", "/"), ElementsAre("/cg"));
    EXPECT_THAT(listBelow("/", "/../a"), ElementsAre("/cg"));
    EXPECT_THAT(listBelow("/", "/.."), ElementsAre("/cg"));
    EXPECT_THAT(listGroupFolders({}, "/a"), IsEmpty());
}

TEST(ExtControlGroupTextTest, LeavesOutMountsOfOtherGroups)
{
    const std::vector<GroupMount> mounts = {{true, "", "/b", "/other"}, {true, "", "/", "/all"}};
    EXPECT_THAT(listGroupFolders(mounts, "/a"), ElementsAre("/all/a", "/all"));
}

TEST(ExtControlGroupTextTest, ReadsQuotas)
{
    EXPECT_EQ(parseQuota("150000 100000\n"), 1.5);
    EXPECT_EQ(parseQuota("100000 300000"), 1.0 / 3);
    EXPECT_EQ(parseQuota("-1 100000\n"), std::nullopt);
    for (const char* const text : {"", "max 100000\n", "100000", "0 100000", "100000 0", "1.5 1",
                                   "100000 max", "100000 100000 1", "quota", "100000 -1"})
        EXPECT_EQ(parseQuota(text), std::nullopt) << text;
}

TEST(ExtControlGroupTextTest, ReadsLimits)
{
    EXPECT_EQ(parseLimit("536870912\n"), 536870912UL);
    EXPECT_EQ(parseLimit("0\n"), 0UL);
    EXPECT_EQ(parseLimit("4611686018427387903"), 4611686018427387903UL);
    for (const char* const text :
         {"", "max\n", "-1\n", "4611686018427387904", "9223372036854771712\n",
          "99999999999999999999999\n", "12 13", "0x10", "12k"})
        EXPECT_EQ(parseLimit(text), std::nullopt) << text;
}

TEST(ExtControlGroupTextTest, RoundsAQuotaUp)
{
    EXPECT_EQ(countProcessors(8, std::nullopt), 8U);
    EXPECT_EQ(countProcessors(8, 1.5), 2U);
    EXPECT_EQ(countProcessors(8, 2.0), 2U);
    EXPECT_EQ(countProcessors(8, 0.01), 1U);
    EXPECT_EQ(countProcessors(8, 7.01), 8U);
    EXPECT_EQ(countProcessors(8, 9.0), 8U);
    EXPECT_EQ(countProcessors(8, 1e300), 8U);
    EXPECT_EQ(countProcessors(0, std::nullopt), 1U);
}

}  // namespace qz::ext
