// SPDX-License-Identifier: MIT
#pragma once

#include <pthread.h>

namespace qz::ext {

/// Blocks the cancellation of the calling thread (`pthread_cancel`) until the end of the scope.
///
/// A cancellation leaves the functions of the thread like an exception. From a destructor it would
/// end the process, and between a call that opens and its result a descriptor would be lost.
class CancellationBlock {
public:
    CancellationBlock() { ::pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &mState); }
    ~CancellationBlock() { ::pthread_setcancelstate(mState, nullptr); }
    CancellationBlock(const CancellationBlock&) = delete;
    CancellationBlock& operator=(const CancellationBlock&) = delete;

private:
    int mState = PTHREAD_CANCEL_ENABLE;
};

}  // namespace qz::ext
