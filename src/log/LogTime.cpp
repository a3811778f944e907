// SPDX-License-Identifier: MIT
#include "LogTime.h"

#include <cstring>

#include <langinfo.h>
#include <time.h>

#include "frame/base/TimeText.h"
#include "text/TextServices.h"

namespace qz::log {

namespace {

// The name of a day or a month in a time text. It is compared as text, because the locale that it
// came from may be freed, and another one may have its address.
class CachedName {
public:
    bool cache(nl_item item)
    {
        const char* const name = ::nl_langinfo(item);
        const std::size_t size = std::strlen(name) + 1;
        if (size > sizeof mName) return false;
        std::memcpy(mName, name, size);
        return true;
    }
    bool isCurrent(nl_item item) const { return std::strcmp(::nl_langinfo(item), mName) == 0; }

private:
    char mName[40] = {};
};

nl_item getDayItem(const tm& parts)
{
    return ABDAY_1 + parts.tm_wday;
}

nl_item getMonthItem(const tm& parts)
{
    return ABMON_1 + parts.tm_mon;
}

// The last time text of a thread, with all that it was made from: the local time, the locale's
// names and the conversion to UTF-8. A text is made in a microsecond and checked in 70 ns, most of
// which is `localtime_r`: nothing else shows a change of the zone's rules.
class CachedTime {
public:
    bool isCurrent(const tm& parts) const
    {
        return mSize != 0 && hasSameTime(parts) && mGeneration == text::getServicesGeneration() &&
               mDay.isCurrent(getDayItem(parts)) && mMonth.isCurrent(getMonthItem(parts));
    }
    std::string_view getText() const { return {mText, mSize}; }

    // A blank alone is the text of a failure, which may pass, so it isn't cached.
    void cache(const tm& parts, const std::string& text)
    {
        mSize = 0;
        if (text.size() > sizeof mText || text.size() == 1) return;
        if (!mDay.cache(getDayItem(parts)) || !mMonth.cache(getMonthItem(parts))) return;
        mParts = parts;
        mGeneration = text::getServicesGeneration();
        std::memcpy(mText, text.data(), text.size());
        mSize = text.size();
    }

private:
    bool hasSameTime(const tm& parts) const
    {
        return parts.tm_sec == mParts.tm_sec && parts.tm_min == mParts.tm_min &&
               parts.tm_hour == mParts.tm_hour && parts.tm_yday == mParts.tm_yday &&
               parts.tm_year == mParts.tm_year && parts.tm_gmtoff == mParts.tm_gmtoff;
    }

    tm mParts = {};
    unsigned mGeneration = 0;
    CachedName mDay;
    CachedName mMonth;
    std::size_t mSize = 0;
    char mText[160] = {};
};

}  // namespace

std::string_view getTimeText(long second, std::string& made)
{
    thread_local CachedTime cached;
    tm parts = {};
    if (!getLocalTime(second, parts)) return " ";
    if (cached.isCurrent(parts)) return cached.getText();
    made = formatTime(parts, kTimeFormat) += ' ';
    cached.cache(parts, made);
    return made;
}

std::string_view BatchTime::getText(long second)
{
    const bool isKnown = mText.size() > 1;  // and not the text of a failure
    if (isKnown && second == mSecond) return mText;
    std::string made;
    mText = getTimeText(second, made);
    mSecond = second;
    return mText;
}

}  // namespace qz::log
