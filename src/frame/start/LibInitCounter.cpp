// SPDX-License-Identifier: MIT
#include <qz/qzSystem.h>

namespace qz::impl {

bool LibInitCounter::msLibInitWarnings = true;

LibInitCounter::LibInitCounter(const char* name, bool flag)
    : mFlag(flag), mName(name != nullptr ? name : "n/a")
{
}

bool LibInitCounter::incrementInitCounter()
{
    mTouched = true;
    return ++mCount == 1;
}

bool LibInitCounter::decrementInitCounter()
{
    return mCount-- == 1;
}

unsigned LibInitCounter::getInitCounter() const
{
    return mCount;
}

void LibInitCounter::clearInitCounter()
{
    mCount = 0;
}

bool LibInitCounter::isInitialized() const
{
    return mCount != 0;
}

void LibInitCounter::SetLibInitWarningsEnabled(bool enabled)
{
    msLibInitWarnings = enabled;
}

}  // namespace qz::impl
