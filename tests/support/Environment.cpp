// SPDX-License-Identifier: MIT
#include "support/Environment.h"

#include <clocale>
#include <cstdlib>
#include <ctime>
#include <stdexcept>

#include "TestPaths.h"

namespace qz::support {

namespace {

void setVariable(const std::string& name, const std::optional<std::string>& value)
{
    if (value) {
        ::setenv(name.c_str(), value->c_str(), /*overwrite=*/1);
    } else {
        ::unsetenv(name.c_str());
    }
}

std::optional<std::string> getVariable(const char* name)
{
    const char* value = std::getenv(name);
    return value == nullptr ? std::nullopt : std::optional<std::string>(value);
}

}  // namespace

EnvironmentVariable::EnvironmentVariable(const char* name, const std::optional<std::string>& value)
    : mName(name), mOldValue(getVariable(name))
{
    setVariable(mName, value);
}

EnvironmentVariable::~EnvironmentVariable()
{
    setVariable(mName, mOldValue);
}

EnvironmentLocale::EnvironmentLocale(const char* name)
    : mFolder("LOCPATH", QZ_TEST_LOCPATH), mName("LC_ALL", name)
{
}

LocaleGuard::LocaleGuard(const char* name)
    : mEnvironment(name), mOldName(std::setlocale(LC_ALL, nullptr))
{
    if (std::setlocale(LC_ALL, "") == nullptr) {
        throw std::runtime_error(std::string("no locale ") + name);
    }
}

LocaleGuard::~LocaleGuard()
{
    std::setlocale(LC_ALL, mOldName.c_str());
}

TimeZoneGuard::TimeZoneGuard(const char* zone)
{
    mZone.emplace("TZ", zone);
    ::tzset();
}

TimeZoneGuard::~TimeZoneGuard()
{
    mZone.reset();
    ::tzset();
}

}  // namespace qz::support
