// SPDX-License-Identifier: MIT
#pragma once

#include <qz/qzNamedPipe.h>

#include "io/VirtualSlots.h"

namespace qz {

/// Looks into pipes and their servers.
class qzNamedPipeTestPeer {
public:
    static const void* getNative(const qzNamedPipe& pipe) { return pipe.mNative.get(); }
    static const void* getNative(const qzNamedPipeServer& server) { return server.mNative.get(); }
    static const std::string& getName(const qzNamedPipe& pipe) { return pipe.mName; }
    static const std::string& getName(const qzNamedPipeServer& server) { return server.mName; }
    static unsigned long getReadLimit(const qzNamedPipe& pipe) { return pipe.mReadLimit; }
    static unsigned long getWriteReserve(const qzNamedPipe& pipe) { return pipe.mWriteReserve; }
    static int getMaxPending(const qzNamedPipeServer& server) { return server.mMaxPending; }

    static Offsets getOffsets(const qzNamedPipe& pipe)
    {
        return {findOffset(pipe, pipe.mNative),       findOffset(pipe, pipe.mReadLimit),
                findOffset(pipe, pipe.mWriteReserve), findOffset(pipe, pipe.mName),
                findOffset(pipe, pipe.mReadQueue),    findOffset(pipe, pipe.mWriteQueue)};
    }
    static Offsets getOffsets(const qzNamedPipeServer& server)
    {
        return {findOffset(server, server.mNative), findOffset(server, server.mPending),
                findOffset(server, server.mName), findOffset(server, server.mMaxPending)};
    }
};

}  // namespace qz
