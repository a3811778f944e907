// SPDX-License-Identifier: MIT
#include <qz/qzSystem.h>

#include <qz/qzLog.h>
#include <qz/qzLogObject.h>
#include <qz/qzStringUtils.h>
#include <qz/qzSystemUtils.h>
#include <qz/qzWaitCondition.h>

#include "InitCounters.h"
#include "concurrency/DefaultPool.h"
#include "frame/base/ForkProtocol.h"
#include "frame/base/LoadOrder.h"
#include "frame/base/Relaxed.h"
#include "frame/base/SimdConstants.h"
#include "frame/resources/MimeTable.h"
#include "frame/resources/ResourceRegistry.h"
#include "system/SignalWatcher.h"
#include "system/SystemInformation.h"

// The start and the stop of the library, one line for each service. The order is fixed: each
// service may use those that are started before it and stopped after it.

namespace qz {

[[gnu::init_priority(QZ_LOAD_LIGHT_COUNTER)]] impl::LibInitCounter gLightCounter("systemlight",
                                                                                 true);
[[gnu::init_priority(QZ_LOAD_FULL_COUNTER)]] impl::LibInitCounter gFullCounter("systemfull", false);

namespace {

enum InitState : int { StateNothing = 0, StateLight = 1, StateFull = 2 };

// Written while only one thread uses the library, read by all threads.
InitState gInitState = StateNothing;
long gFullInitProcessId = 0;

void startLight()
{
    relaxedStore(gInitState, StateLight);
    qzLog::createInstance(/*threadSafe=*/false);
    setLaneMasks();
    qzSystemUtils::InitializeSystemUtils();
    qzStringUtils::InitializeStringUtils();
    createResourceRegistry(/*withMutex=*/false);
    fillMimeTable();
}

void startFull(bool probeMainDisk)
{
    relaxedStore(gInitState, StateFull);
    relaxedStore(gFullInitProcessId, qzSystemUtils::GetCurrentProcessID());
    setFullyStarted(true);
    createResourceRegistry(/*withMutex=*/true);
    // Without light steps, which are skipped after a stop without a start, there is neither a log
    // nor a description of the machine.
    if (qzLog::msInstance != nullptr) qzLog::msInstance->makeThreadSafe();
    qzWaitCondition::FindBestImplementation();
    if (probeMainDisk) getMainHDDDevice();
    if (gSystemInformation != nullptr) createDefaultPool(gSystemInformation->idealThreadCount);
    installSignalWatcher();
}

void stop()
{
    if (relaxedLoad(gInitState) == StateFull) {
        destroyDefaultPool();
        removeSignalWatcher();
    }
    destroyResourceRegistry();
    // Now, while texts can still be converted.
    if (qzLog::msInstance != nullptr) qzLog::msInstance->flush();
    qzStringUtils::TerminateStringUtils();
    qzSystemUtils::TerminateSystemUtils();
    qzLog::destroyInstance();
    setFullyStarted(false);
    relaxedStore(gInitState, StateNothing);
}

}  // namespace

void initializeQzSystem(InitType type, bool probeMainDisk)
{
    if (type != LightInit && type != FullInit) return;
    if (gLightCounter.incrementInitCounter()) startLight();
    if (type != FullInit) return;
    if (gFullCounter.incrementInitCounter()) startFull(probeMainDisk);
}

void terminateQzSystem()
{
    if (!gLightCounter.decrementInitCounter()) return;
    gFullCounter.clearInitCounter();
    stop();
}

bool IsQzSystemThreadSafe()
{
    CheckIfProcessForkAfterThreadSafeInit();
    return relaxedLoad(gInitState) == StateFull;
}

void CheckIfProcessForkAfterThreadSafeInit()
{
    const long fullInitProcessId = relaxedLoad(gFullInitProcessId);
    if (fullInitProcessId == 0 || relaxedLoad(gInitState) != StateFull) return;
    const long processId = qzSystemUtils::GetCurrentProcessID();
    if (processId == fullInitProcessId) return;
    // The recorded id is kept, so that each later check reports again.
    logCritical(nullptr, "qzSystem") << "Detect process fork after thread initialization from "
                                     << fullInitProcessId << " to " << processId;
}

}  // namespace qz
