// SPDX-License-Identifier: MIT
#include <qz/SoftwareVersionInfoForStream.h>

#include <iostream>
#include <string>
#include <type_traits>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qz/qzSystemVersion.h>

#include "support/ChildProcess.h"
#include "support/LibraryStart.h"
#include "support/LogCapture.h"

namespace qz {

using Info = SoftwareVersionInfoForStream;
using support::runInChild;
using ::testing::ElementsAreArray;

namespace {

static_assert(std::is_same_v<decltype(qzMajorOutputStreamVersion), const unsigned char>);
static_assert(!std::is_polymorphic_v<Info>);
static_assert(offsetof(Info, debug) == 0 && offsetof(Info, dev) == 1 && offsetof(Info, beta) == 2 &&
              offsetof(Info, description) == 8);

// The version class of another component.
template <bool IsItDebug, bool IsItDev, bool IsItBeta>
struct Component {
    static bool IsDebug() { return IsItDebug; }
    static bool IsDev() { return IsItDev; }
    static bool IsBeta() { return IsItBeta; }
    static const char* GetDescStringMajorMinorReleaseRevision(bool first, bool withCommitId)
    {
        return !first && withCommitId ? "1.2.3.4 #abc" : "wrong";
    }
};

Info makeInfo(bool debug, bool dev, bool beta, const std::string& description = "")
{
    Info info;
    info.debug = debug;
    info.dev = dev;
    info.beta = beta;
    info.description = description;
    return info;
}

// The process's record is for good, so each text comes from a process of its own.
std::string registerAll(const std::vector<Info>& infos)
{
    const support::ChildResult result = runInChild([&] {
        for (const Info& info : infos)
            RegisterSoftwareVersionInfoForStream(info);
        std::cout << Info().toString() << std::flush;
        return 0;
    });
    EXPECT_EQ(result.getEnd(), "exit 0");
    return result.out;
}

}  // namespace

TEST(SoftwareVersionInfoForStreamTest, NamesTheStreamVersion)
{
    EXPECT_EQ(qzMajorOutputStreamVersion, 8);
    EXPECT_EQ(qzMinorOutputStreamVersion, 4);
}

// --- Records

TEST(SoftwareVersionInfoForStreamTest, HasAllFlagsUntilSet)
{
    const Info info;
    EXPECT_TRUE(info.debug);
    EXPECT_TRUE(info.dev);
    EXPECT_TRUE(info.beta);
    EXPECT_EQ(info.description, "n/a");
}

TEST(SoftwareVersionInfoForStreamTest, IsMadeOfTheLibrary)
{
    const Info info = Info::Create<qzSystem::Version>("");
    EXPECT_FALSE(info.debug);
    EXPECT_FALSE(info.dev);
    EXPECT_FALSE(info.beta);
    EXPECT_EQ(info.description, "n/a");
    EXPECT_EQ(Info::Create<qzSystem::Version>("qz").description,
              std::string("qz 3.0.0.1297 #") + qzSystem::Version::GetCommitId());
}

TEST(SoftwareVersionInfoForStreamTest, IsMadeOfAnyComponent)
{
    const Info debug = Info::Create<Component<true, false, false>>("tool");
    EXPECT_TRUE(debug.debug && !debug.dev && !debug.beta);
    EXPECT_EQ(debug.description, "tool 1.2.3.4 #abc");
    const Info dev = Info::Create<Component<false, true, false>>("tool");
    EXPECT_TRUE(!dev.debug && dev.dev && !dev.beta);
    const Info beta = Info::Create<Component<false, false, true>>("");
    EXPECT_TRUE(!beta.debug && !beta.dev && beta.beta);
    EXPECT_EQ(beta.description, "n/a");
}

// --- The process's record

TEST(SoftwareVersionInfoForStreamTest, HoldsTheLibraryAtFirst)
{
    const Info& record = GetSoftwareVersionForStream();
    EXPECT_FALSE(record.debug || record.dev || record.beta);
    EXPECT_EQ(record.description, "n/a");
    EXPECT_EQ(&GetSoftwareVersionForStream(), &record);
    EXPECT_EQ(makeInfo(true, true, true, "own").toString(), "n/a") << "not the process's text";
}

struct RegistrationRow {
    const char* name;
    std::vector<Info> infos;
    const char* text;
};

const RegistrationRow kRegistrations[] = {
    {"Release", {makeInfo(false, false, false, "app 1")}, "app 1"},
    {"Dev", {makeInfo(false, true, false, "app 1")}, "app 1/dev"},
    {"Beta", {makeInfo(false, false, true, "app 1")}, "app 1/beta"},
    {"Debug", {makeInfo(true, false, false, "app 1")}, "app 1/debug"},
    {"DebugBeta", {makeInfo(true, false, true, "app 1")}, "app 1/beta/debug"},
    {"All", {makeInfo(true, true, true, "app 1")}, "app 1/dev/beta/debug"},
    {"EmptyDescriptionKeepsTheFirst", {makeInfo(false, true, false)}, "n/a/dev"},
    {"EmptyDescriptionKeepsTheLast",
     {makeInfo(false, false, false, "lib 2"), makeInfo(false, false, false)},
     "lib 2"},
    {"LastDescription",
     {makeInfo(false, false, false, "lib 2"), makeInfo(false, false, false, "app 1")},
     "app 1"},
    {"FlagsStay",
     {makeInfo(true, false, false, "lib"), makeInfo(false, true, false),
      makeInfo(false, false, true), makeInfo(false, false, false)},
     "lib/dev/beta/debug"},
};

class SoftwareVersionRegistration : public ::testing::TestWithParam<RegistrationRow> {};

TEST_P(SoftwareVersionRegistration, GivesTheTextOfItsRow)
{
    EXPECT_EQ(registerAll(GetParam().infos), GetParam().text);
}

INSTANTIATE_TEST_SUITE_P(Rows, SoftwareVersionRegistration, ::testing::ValuesIn(kRegistrations),
                         [](const auto& row) { return std::string(row.param.name); });

// --- Warnings

struct WarningRow {
    const char* name;
    Info reader;
    std::string text;
    std::vector<std::string> messages;
};

const char* const kBeta = "This stream was generated from a Beta version";
const char* const kBetaDebug = "This stream was generated from a Beta/Debug version";
const char* const kDev = "This stream was generated from a Dev version";
const char* const kDevDebug = "This stream was generated from a Dev/Debug version";
const Info kRelease = makeInfo(false, false, false);

const WarningRow kWarnings[] = {
    {"Nothing", kRelease, "", {}},
    {"Separators", kRelease, "///", {}},
    {"Release", kRelease, "app 1.2", {}},
    {"DebugAlone", kRelease, "app 1.2/debug", {}},
    {"Beta", kRelease, "app 1.2/beta", {kBeta}},
    {"BetaDebug", kRelease, "app 1.2/beta/debug", {kBetaDebug}},
    {"DebugAhead", kRelease, "debug/beta", {kBetaDebug}},
    {"Dev", kRelease, "app 1.2/dev", {kDev}},
    {"DevDebug", kRelease, "app 1.2/dev/debug", {kDevDebug}},
    {"Both", kRelease, "app 1.2/dev/beta", {kBeta, kDev}},
    {"BothDebug", kRelease, "app 1.2/dev/beta/debug", {kBetaDebug, kDevDebug}},
    {"FirstPiece", kRelease, "beta/app", {kBeta}},
    {"OnlyPiece", kRelease, "dev", {kDev}},
    {"EmptyPieces", kRelease, "//app//beta//", {kBeta}},
    {"TwiceIsOnce", kRelease, "beta/beta", {kBeta}},
    {"LongerPiece", kRelease, "app/beta2/devel/debugger", {}},
    {"LongerDebugPiece", kRelease, "app/beta/debugger", {kBeta}},
    {"DebugWithinAnotherPiece", kRelease, "my debug/dev", {kDev}},
    {"PieceWithBlank", kRelease, "app/ beta/dev ", {}},
    {"Capitals", kRelease, "app/Beta/DEV", {}},
    {"ShorterPiece", kRelease, "app/bet/de", {}},
    {"EmbeddedZero", kRelease, std::string("app/beta\0", 9), {}},
    {"BetaReaderOfBeta", makeInfo(false, false, true), "app/beta", {}},
    {"BetaReaderOfBoth", makeInfo(false, false, true), "app/dev/beta", {kDev}},
    {"DevReaderOfDev", makeInfo(false, true, false), "app/dev", {}},
    {"DevReaderOfBoth", makeInfo(false, true, false), "app/dev/beta", {kBeta}},
    {"DebugReader", makeInfo(true, false, false), "app/beta/debug", {kBetaDebug}},
    {"ReaderOfAll", Info(), "app/dev/beta/debug", {}},
};

class SoftwareVersionWarning : public ::testing::TestWithParam<WarningRow> {};

TEST_P(SoftwareVersionWarning, IsThatOfItsRow)
{
    const support::LibraryStart library;
    const support::LogCapture log;
    GetParam().reader.plotWarningIfDetectBetaOrDev(GetParam().text);
    std::vector<std::string> lines;
    for (const std::string& message : GetParam().messages)
        lines.push_back("WARNING " + message);
    EXPECT_THAT(log.getLines(), ElementsAreArray(lines));
}

INSTANTIATE_TEST_SUITE_P(Rows, SoftwareVersionWarning, ::testing::ValuesIn(kWarnings),
                         [](const auto& row) { return std::string(row.param.name); });

}  // namespace qz
