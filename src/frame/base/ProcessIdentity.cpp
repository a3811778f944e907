// SPDX-License-Identifier: MIT
#include "ProcessIdentity.h"

#include <sys/mman.h>
#include <unistd.h>

#include <qz/qzSystemUtils.h>

#include "Relaxed.h"

namespace qz {

namespace {

// Memory that the kernel zeroes in a child, whichever call made the fork (from Linux 4.14 on); null
// if the kernel can't. It saves a log line the 120 ns of `getpid`. It is never freed, since the
// last destructors of the process may still report.
long* makeCellWipedOnFork()
{
    void* page =
        ::mmap(nullptr, sizeof(long), PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (page == MAP_FAILED) return nullptr;
    if (::madvise(page, sizeof(long), MADV_WIPEONFORK) == 0) return static_cast<long*>(page);
    ::munmap(page, sizeof(long));
    return nullptr;
}

// Whether the cell was filled, in this process or in the one that it was forked from.
bool gWasCellFilled = false;
bool gIsForked = false;

// A child of `vfork` uses the memory of its parent. Were its call the first, it would write its own
// id where the parent reads. So the first call is made at load; a forked child makes it for its
// random seed.
const long gProcessIdAtLoad = qzSystemUtils::GetCurrentProcessID();

}  // namespace

long qzSystemUtils::GetCurrentProcessID()
{
    static long* const cell = makeCellWipedOnFork();
    if (cell == nullptr) return ::getpid();
    const long known = relaxedLoad(*cell);
    if (known != 0) return known;
    const long asked = ::getpid();
    if (relaxedLoad(gWasCellFilled)) relaxedStore(gIsForked, true);
    relaxedStore(gWasCellFilled, true);
    relaxedStore(*cell, asked);
    return asked;
}

bool isForkedSinceLoad()
{
    // The ids are equal if the system has used an id again, or in another namespace of ids. Without
    // the cell, the flag stays false.
    return qzSystemUtils::GetCurrentProcessID() != gProcessIdAtLoad || relaxedLoad(gIsForked);
}

long qzSystemUtils::GetParentProcessID()
{
    return ::getppid();
}

}  // namespace qz
