// SPDX-License-Identifier: MIT
#pragma once

#include <optional>
#include <string>

namespace qz::support {

/// Sets an environment variable, or takes it away with `std::nullopt`, until the end of the scope.
class EnvironmentVariable {
public:
    EnvironmentVariable(const char* name, const std::optional<std::string>& value);
    ~EnvironmentVariable();
    EnvironmentVariable(const EnvironmentVariable&) = delete;
    EnvironmentVariable& operator=(const EnvironmentVariable&) = delete;

private:
    std::string mName;
    std::optional<std::string> mOldValue;
};

/// Makes `name` the locale of the environment, found among those that the test build makes, and
/// leaves the process's own locale alone.
///
/// The names are "C", "C.UTF-8", "en_US.ISO-8859-1", "de_DE.ISO-8859-1", "de_DE.ISO-8859-15",
/// "de_DE.UTF-8", "fr_FR.UTF-8" and "ja_JP.EUC-JP". A thread learns the character set of the
/// environment once, so set the locale before the library's start.
class EnvironmentLocale {
public:
    explicit EnvironmentLocale(const char* name);

private:
    EnvironmentVariable mFolder;
    EnvironmentVariable mName;
};

/// Makes `name` the locale of the environment and of the process, as a program does that calls
/// `setlocale(LC_ALL, "")`. Throws when there is no such locale.
class LocaleGuard {
public:
    explicit LocaleGuard(const char* name);
    ~LocaleGuard();
    LocaleGuard(const LocaleGuard&) = delete;
    LocaleGuard& operator=(const LocaleGuard&) = delete;

private:
    EnvironmentLocale mEnvironment;
    std::string mOldName;
};

/// Makes `zone` the time zone of the process, in the form of the variable TZ. "UTC0" and
/// "CET-1CEST,M3.5.0,M10.5.0/3" need no zone files on the machine.
class TimeZoneGuard {
public:
    explicit TimeZoneGuard(const char* zone);
    ~TimeZoneGuard();
    TimeZoneGuard(const TimeZoneGuard&) = delete;
    TimeZoneGuard& operator=(const TimeZoneGuard&) = delete;

private:
    std::optional<EnvironmentVariable> mZone;
};

}  // namespace qz::support
