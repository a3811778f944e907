#include "LoadTimeObjects.h"

#include <qz/qzSystemUtils.h>
#include <qz/qzThread.h>
#include <qz/qzVariant.h>

#include "LoadOrder.h"
#include "MimeTable.h"

namespace qz {

// In the order of their making.

[[gnu::init_priority(QZ_LOAD_CANCELLATION)]] qzCancelInterfaceProxyReadOnly gNeverCancels;
[[gnu::init_priority(QZ_LOAD_CANCELLATION)]] std::unique_ptr<qzCancelConsoleEventCatcher>
    gConsoleCatcher;
[[gnu::init_priority(QZ_LOAD_CANCELLATION)]] const std::string gLoadingThreadId =
    qzThread::CurrentThreadId();
[[gnu::init_priority(QZ_LOAD_MIME_TYPES)]] std::map<std::string, MimeTypeInfo> gMimeTable;
[[gnu::init_priority(QZ_LOAD_MIME_TYPES)]] const MimeTypeInfo gDefaultMimeType;
[[gnu::init_priority(QZ_LOAD_TIME)]] RandomSeed gRandomSeed = {
    qzSystemUtils::GetMSecElapsedSinceEpoch()};
[[gnu::init_priority(QZ_LOAD_LIGHT_COUNTER)]] impl::LibInitCounter gLightCounter("systemlight",
                                                                                 true);
[[gnu::init_priority(QZ_LOAD_FULL_COUNTER)]] impl::LibInitCounter gFullCounter("systemfull", false);
[[gnu::init_priority(QZ_LOAD_NULL_VARIANT)]] const qzVariant qzVariant::sNullVariant;

}  // namespace qz
