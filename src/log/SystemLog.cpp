// SPDX-License-Identifier: MIT
#include <cerrno>
#include <iterator>
#include <string>

#include <dlfcn.h>
#include <gnu/libc-version.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <syslog.h>
#include <time.h>

#include <qz/qzLog.h>
#include <qz/qzStringUtils.h>
#include <qz/qzSystemUtils.h>

#include "Console.h"
#include "SignalSafety.h"
#include "frame/base/FileDescriptor.h"
#include "frame/base/ForkProtocol.h"
#include "frame/base/TimeText.h"
#include "text/TextServices.h"

namespace qz {

namespace {

constexpr std::size_t kLargestText = 16384;

int getPriority(int type)
{
    switch (type) {
        case qzLog::Warning:
            return LOG_WARNING;
        case qzLog::Critical:
            return LOG_CRIT;
        default:
            return LOG_INFO;
    }
}

std::string makeText(const qzLog::LogEntry& entry)
{
    std::string text;
    if (!entry.systemLogTag.empty()) text = entry.systemLogTag + " : ";
    text += entry.prefix;
    text += entry.message;
    if (text.size() > kLargestText) text.resize(kLargestText);
    return text;
}

// Looks the functions up without a lock.
bool isSystemLogOfCLibrary()
{
    dl_find_object present = {};
    dl_find_object cLibrary = {};
    return ::_dl_find_object(reinterpret_cast<void*>(&::syslog), &present) == 0 &&
           ::_dl_find_object(reinterpret_cast<void*>(&::gnu_get_libc_version), &cLibrary) == 0 &&
           present.dlfo_map_start == cLibrary.dlfo_map_start;
}

// `syslog` takes locks of the C library, its own and that of the time zones. A signal may have
// interrupted a thread that holds them, or another thread of the parent may have held them when a
// child was forked. A `syslog` that a program has put in the place of the C library's is called all
// the same after a signal: the program knows what it may do there.
bool mayWaitForEver()
{
    return isForkedChild() || (log::SignalReport::IsRunning() && isSystemLogOfCLibrary());
}

// The datagram that `syslog` would send. It doesn't wait for a system that takes none.
void sendDatagram(int priority, const std::string& text)
{
    tm now = {};
    getLocalTime(qzSystemUtils::GetSecElapsedSinceEpoch(), now);
    char time[32];
    const std::size_t timeSize =
        ::strftime_l(time, std::size(time), "%b %e %T", &now, text::getCLocale());
    std::string datagram = "<" + std::to_string(LOG_USER | priority) + ">";
    datagram.append(time, timeSize).append(" ").append(::program_invocation_short_name);
    datagram.append(": ").append(text, 0, text.find('\0'));
    const FileDescriptor socket(::socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    const sockaddr_un address = {AF_UNIX, "/dev/log"};
    ::sendto(socket.get(), datagram.data(), datagram.size(), MSG_DONTWAIT | MSG_NOSIGNAL,
             reinterpret_cast<const sockaddr*>(&address), sizeof address);
}

}  // namespace

void qzLog::WriteToSystemLog(const LogEntry& entry, bool echoToStdErr)
{
    if (entry.type == Debug) return;
    std::string text = makeText(entry);
    if (echoToStdErr) log::Console::WriteErrorLine(text);
    // A report before the start or after the stop goes out as it is.
    if (text::areServicesUp()) {
        text = qzStringUtils::convertCharset(text, qzStringUtils::CharSetUtf8,
                                             qzStringUtils::CharSetLocal);
    }
    if (mayWaitForEver()) {
        sendDatagram(getPriority(entry.type), text);
        return;
    }
    const ScopedSignalBlock signals;
    ::syslog(getPriority(entry.type), "%s", text.c_str());
}

}  // namespace qz
