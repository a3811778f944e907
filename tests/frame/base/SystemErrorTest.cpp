// SPDX-License-Identifier: MIT
#include <qz/SystemError.h>

#include <cerrno>
#include <climits>
#include <cstring>
#include <locale>
#include <map>
#include <string>
#include <type_traits>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <qz/qzLogObject.h>

#include "support/ChildProcess.h"
#include "support/LibraryStart.h"
#include "support/LogCapture.h"

namespace qz {

using ::testing::ElementsAre;
using ::testing::StartsWith;

namespace {

static_assert(sizeof(SystemError) == 4);
static_assert(!std::is_polymorphic_v<SystemError> && std::is_trivially_copyable_v<SystemError>);

const std::map<int, std::string> kNames = {
    {1, "EPERM"},
    {2, "ENOENT"},
    {3, "ESRCH"},
    {4, "EINTR"},
    {5, "EIO"},
    {6, "ENXIO"},
    {7, "E2BIG"},
    {8, "ENOEXEC"},
    {9, "EBADF"},
    {10, "ECHILD"},
    {11, "EAGAIN/EWOULDBLOCK"},
    {12, "ENOMEM"},
    {13, "EACCES"},
    {14, "EFAULT"},
    {15, "ENOTBLK"},
    {16, "EBUSY"},
    {17, "EEXIST"},
    {18, "EXDEV"},
    {19, "ENODEV"},
    {20, "ENOTDIR"},
    {21, "EISDIR"},
    {22, "EINVAL"},
    {23, "ENFILE"},
    {24, "EMFILE"},
    {25, "ENOTTY"},
    {26, "ETXTBSY"},
    {27, "EFBIG"},
    {28, "ENOSPC"},
    {29, "ESPIPE"},
    {30, "EROFS"},
    {31, "EMLINK"},
    {32, "EPIPE"},
    {33, "EDOM"},
    {34, "ERANGE"},
    {35, "EDEADLK/EDEADLOCK"},
    {36, "ENAMETOOLONG"},
    {37, "ENOLCK"},
    {38, "ENOSYS"},
    {39, "ENOTEMPTY"},
    {40, "ELOOP"},
    {42, "ENOMSG"},
    {43, "EIDRM"},
    {44, "ECHRNG"},
    {45, "EL2NSYNC"},
    {46, "EL3HLT"},
    {47, "EL3RST"},
    {48, "ELNRNG"},
    {49, "EUNATCH"},
    {50, "ENOCSI"},
    {51, "EL2HLT"},
    {52, "EBADE"},
    {53, "EBADR"},
    {54, "EXFULL"},
    {55, "ENOANO"},
    {56, "EBADRQC"},
    {57, "EBADSLT"},
    {59, "EBFONT"},
    {60, "ENOSTR"},
    {61, "ENODATA"},
    {62, "ETIME"},
    {63, "ENOSR"},
    {64, "ENONET"},
    {65, "ENOPKG"},
    {66, "EREMOTE"},
    {67, "ENOLINK"},
    {68, "EADV"},
    {69, "ESRMNT"},
    {70, "ECOMM"},
    {71, "EPROTO"},
    {72, "EMULTIHOP"},
    {73, "EDOTDOT"},
    {74, "EBADMSG"},
    {75, "EOVERFLOW"},
    {76, "ENOTUNIQ"},
    {77, "EBADFD"},
    {78, "EREMCHG"},
    {79, "ELIBACC"},
    {80, "ELIBBAD"},
    {81, "ELIBSCN"},
    {82, "ELIBMAX"},
    {83, "ELIBEXEC"},
    {84, "EILSEQ"},
    {85, "ERESTART"},
    {86, "ESTRPIPE"},
    {87, "EUSERS"},
    {88, "ENOTSOCK"},
    {89, "EDESTADDRREQ"},
    {90, "EMSGSIZE"},
    {91, "EPROTOTYPE"},
    {92, "ENOPROTOOPT"},
    {93, "EPROTONOSUPPORT"},
    {94, "ESOCKTNOSUPPORT"},
    {96, "EPFNOSUPPORT"},
    {97, "EAFNOSUPPORT"},
    {98, "EADDRINUSE"},
    {99, "EADDRNOTAVAIL"},
    {100, "ENETDOWN"},
    {101, "ENETUNREACH"},
    {102, "ENETRESET"},
    {103, "ECONNABORTED"},
    {104, "ECONNRESET"},
    {105, "ENOBUFS"},
    {106, "EISCONN"},
    {107, "ENOTCONN"},
    {108, "ESHUTDOWN"},
    {109, "ETOOMANYREFS"},
    {110, "ETIMEDOUT"},
    {111, "ECONNREFUSED"},
    {112, "EHOSTDOWN"},
    {113, "EHOSTUNREACH"},
    {114, "EALREADY"},
    {115, "EINPROGRESS"},
    {116, "ESTALE"},
    {117, "EUCLEAN"},
    {118, "ENOTNAM"},
    {119, "ENAVAIL"},
    {120, "EISNAM"},
    {121, "EREMOTEIO"},
    {122, "EDQUOT"},
    {123, "ENOMEDIUM"},
    {124, "EMEDIUMTYPE"},
    {125, "ECANCELED"},
    {126, "ENOKEY"},
    {127, "EKEYEXPIRED"},
    {128, "EKEYREVOKED"},
    {129, "EKEYREJECTED"},
    {130, "EOWNERDEAD"},
    {131, "ENOTRECOVERABLE"},
    {132, "ERFKILL"},
    {133, "EHWPOISON"},
};

std::string getName(int code)
{
    const auto row = kNames.find(code);
    return row == kNames.end() ? "UNKNOWN_ENUM" : row->second;
}

std::string makeText(int code)
{
    return "System error : '(" + std::to_string(code) + ") " + getName(code) + " " +
           std::strerror(code) + "'";
}

}  // namespace

TEST(SystemErrorTest, KnowsAHundredAndThirtyNames)
{
    ASSERT_EQ(kNames.size(), 130U);
}

TEST(SystemErrorTest, ShowsEachCodeWithItsNameAndTheSystemsWords)
{
    for (int code = -2; code <= 200; ++code) {
        EXPECT_EQ(SystemError(code).toString(), makeText(code));
    }
    EXPECT_EQ(SystemError(INT_MAX).toString(), makeText(INT_MAX));
    EXPECT_EQ(SystemError(INT_MIN).toString(), makeText(INT_MIN));
}

TEST(SystemErrorTest, ReadsAsInTheManual)
{
    EXPECT_EQ(SystemError(2).toString(), "System error : '(2) ENOENT No such file or directory'");
    EXPECT_THAT(SystemError(95).toString(), StartsWith("System error : '(95) UNKNOWN_ENUM "));
}

TEST(SystemErrorTest, IsCodeZeroByDefaultWhateverErrnoIs)
{
    errno = ENOENT;
    EXPECT_EQ(SystemError().toString(), makeText(0));
}

class GroupedNumbers : public std::numpunct<char> {
    char do_thousands_sep() const override { return '.'; }
    std::string do_grouping() const override { return "\3"; }
};

TEST(SystemErrorTest, WritesItsNumberWithoutTheGlobalLocale)
{
    const std::locale before =
        std::locale::global(std::locale(std::locale::classic(), new GroupedNumbers));
    const std::string text = SystemError(1234567).toString();
    std::locale::global(before);
    EXPECT_THAT(text, StartsWith("System error : '(1234567) UNKNOWN_ENUM "));
}

TEST(SystemErrorTest, GoesIntoAReportAsItsText)
{
    const support::LibraryStart library;
    const support::LogCapture log;
    logInfo() << "open: " << SystemError(EACCES);
    logDebug() << SystemError(EACCES);
    EXPECT_THAT(log.getMessages(), ElementsAre("open: " + makeText(EACCES)));
}

struct LineBreaks {
    const char* name;
    const char* words;
    const char* text;
};

constexpr LineBreaks kLineBreaks[] = {
    {"None", "one line", "one line"},
    {"LineFeed", "two\nlines", "two lines"},
    {"Pair", "two\r\nlines", "two lines"},
    {"CarriageReturnStays", "two\rparts", "two\rparts"},
    {"PairBehindACarriageReturn", "a\r\r\nb", "a\r b"},
    {"LineFeedBehindAPair", "a\r\n\nb", "a  b"},
    {"PairBehindALineFeed", "a\n\r\nb", "a  b"},
    {"LineFeedAheadOfACarriageReturn", "a\n\rb", "a \rb"},
    {"OnBothEnds", "\r\nwords\n", " words "},
    {"Many", "\n\n\r\n\r\n\n", "     "},
    {"Empty", "", ""},
};

class SystemErrorLineBreaks : public ::testing::TestWithParam<LineBreaks> {};

TEST_P(SystemErrorLineBreaks, BecomeBlanks)
{
    const support::ChildResult result =
        support::runProgram({.program = "system_error_text", .arguments = {GetParam().words}});
    EXPECT_EQ(result.getEnd(), "exit 0");
    EXPECT_EQ(result.out, std::string("System error : '(5) EIO ") + GetParam().text + "'");
}

INSTANTIATE_TEST_SUITE_P(Rows, SystemErrorLineBreaks, ::testing::ValuesIn(kLineBreaks),
                         [](const auto& row) { return std::string(row.param.name); });

}  // namespace qz
