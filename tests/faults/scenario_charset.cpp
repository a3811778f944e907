// SPDX-License-Identifier: MIT
// The text services come up, convert between all sets, and go down.

#include <new>
#include <string>

#include <qz/qzStringUtils.h>

#include "faults/Scenario.h"

namespace {

using qz::qzStringUtils;

struct Conversion {
    int from;
    int to;
    const char* text;
    const char* result;
};

// The local set is Latin-1 here.
constexpr Conversion kConversions[] = {
    {0, 1, "caf\xe9", "caf\xc3\xa9"}, {0, 2, "cafe", "cafe"}, {1, 0, "caf\xc3\xa9", "caf\xe9"},
    {1, 2, "cafe", "cafe"},           {2, 0, "cafe", "cafe"}, {2, 1, "cafe", "cafe"},
};

std::string judge(const std::string& name, const std::string& got, const std::string& wanted)
{
    if (got == wanted) return {};
    return got.empty() ? " without " + name : " other " + name + " '" + got + "'";
}

std::string describe()
{
    std::string text;
    for (const Conversion& row : kConversions) {
        const std::string name = std::to_string(row.from) + std::to_string(row.to);
        const std::string got = qzStringUtils::convertCharset(
            row.text, qzStringUtils::qzCharSet(row.from), qzStringUtils::qzCharSet(row.to));
        text += judge(name, got, row.result);
    }
    for (const int to : {0, 1, 2}) {
        const auto set = qzStringUtils::qzCharSet(to);
        text +=
            judge("wide" + std::to_string(to), qzStringUtils::convertTo8Bits(L"abcdefg", set), "a");
    }
    const std::string longText(3000, 'x');
    text += judge("long",
                  qzStringUtils::convertCharset(longText + "\xe9", qzStringUtils::CharSetLocal,
                                                qzStringUtils::CharSetUtf8),
                  longText + "\xc3\xa9");
    return text;
}

// Takes the services down, also when the start has thrown half-way.
struct StopServices {
    ~StopServices() { qzStringUtils::TerminateStringUtils(); }
};

std::string convertAll(const std::string& /*folder*/)
{
    const qz::faults::Watch watch;
    const StopServices atEnd{};
    if (!qzStringUtils::InitializeStringUtils()) return "not up";
    return "up" + describe();
}

}  // namespace

int main(int argumentCount, char** arguments)
{
    return qz::faults::runScenario(argumentCount, arguments, &convertAll);
}
