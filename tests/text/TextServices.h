// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include <qz/qzStringUtils.h>

#include "support/Environment.h"

namespace qz {

constexpr auto kLocal = qzStringUtils::CharSetLocal;
constexpr auto kUtf8 = qzStringUtils::CharSetUtf8;
constexpr auto kAscii = qzStringUtils::CharSetAscii;

/// Keeps the text services up until the end of the scope.
class TextServices {
public:
    TextServices() { mIsUp = qzStringUtils::InitializeStringUtils(); }
    ~TextServices() { qzStringUtils::TerminateStringUtils(); }
    TextServices(const TextServices&) = delete;
    TextServices& operator=(const TextServices&) = delete;
    bool isUp() const { return mIsUp; }

private:
    bool mIsUp;
};

/// The locale of the environment alone, with the services up in it.
struct LocalSet {
    explicit LocalSet(const char* locale) : environment(locale) {}
    support::EnvironmentLocale environment;
    TextServices services;
};

inline std::string convert(const std::string& text, int from, int to)
{
    return qzStringUtils::convertCharset(text, qzStringUtils::qzCharSet(from),
                                         qzStringUtils::qzCharSet(to));
}

}  // namespace qz
