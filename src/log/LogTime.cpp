#include "LogTime.h"

#include <cstring>

#include <langinfo.h>
#include <time.h>

#include <qz/qzSystemUtils.h>

#include "LogLine.h"
#include "text/TextServices.h"

namespace qz {

namespace {

// The name of a day or a month that a time text holds. Kept as text: the locale that it came from
// may be gone, with another one at its address.
class HeldName {
public:
    bool hold(nl_item item)
    {
        mItem = item;
        const char* const name = ::nl_langinfo(item);
        const std::size_t size = std::strlen(name) + 1;
        if (size > sizeof mName) return false;
        std::memcpy(mName, name, size);
        return true;
    }
    bool isCurrent() const { return std::strcmp(::nl_langinfo(mItem), mName) == 0; }

private:
    nl_item mItem = 0;
    char mName[40] = {};
};

// What the C library knows of the process's zone. The names are compared by address, since equal
// names share one there.
struct HeldZone {
    const char* standardName = nullptr;
    const char* summerName = nullptr;
    long offset = 0;
    int hasSummerTime = 0;

    static HeldZone ofProcess() { return {::tzname[0], ::tzname[1], ::timezone, ::daylight}; }
    bool isCurrent() const
    {
        return standardName == ::tzname[0] && summerName == ::tzname[1] && offset == ::timezone &&
               hasSummerTime == ::daylight;
    }
};

// The text of the last second on this thread. It is valid while all that it was made from is as it
// was, so that tzset and setlocale show at once. Formatting anew takes a microsecond, the look here
// 15 ns.
class HeldTime {
public:
    bool isCurrent(long second) const
    {
        return mIsHeld && second == mSecond && mGeneration == text::getServicesGeneration() &&
               mZone.isCurrent() && mDay.isCurrent() && mMonth.isCurrent();
    }
    void appendTo(std::string& text) const { text.append(mText, mSize); }

    // `zone` is the one from before the text was made: where it has changed since, nobody knows
    // which of the two the text shows.
    void hold(long second, const HeldZone& zone, const std::string& text)
    {
        mIsHeld = false;
        tm parts = {};
        if (text.size() > sizeof mText || ::localtime_r(&second, &parts) == nullptr) return;
        if (!zone.isCurrent()) return;
        mSecond = second;
        mGeneration = text::getServicesGeneration();
        mZone = zone;
        std::memcpy(mText, text.data(), text.size());
        mSize = text.size();
        mIsHeld = mDay.hold(ABDAY_1 + parts.tm_wday) && mMonth.hold(ABMON_1 + parts.tm_mon);
    }

private:
    bool mIsHeld = false;
    long mSecond = 0;
    unsigned mGeneration = 0;
    HeldZone mZone;
    HeldName mDay;
    HeldName mMonth;
    std::size_t mSize = 0;
    char mText[160] = {};
};

}  // namespace

void appendLogTime(std::string& text, long second)
{
    thread_local HeldTime held;
    if (held.isCurrent(second)) {
        held.appendTo(text);
        return;
    }
    const HeldZone zone = HeldZone::ofProcess();
    const std::string made =
        qzSystemUtils::ConvertSecElapsedSinceEpochToString(second, kLogTimeFormat, true);
    held.hold(second, zone, made);
    text += made;
}

}  // namespace qz
