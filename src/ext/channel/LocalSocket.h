// SPDX-License-Identifier: MIT
#pragma once

/// @file
/// Stream sockets of this machine.

#include <string>

#include <sys/socket.h>

#include <qz/ext/SystemFailure.h>
#include "base/OwnDescriptor.h"
#include "base/WaitLimit.h"

namespace qz::ext {

/// The name of the socket's file, after that of the server.
constexpr const char* kSocketSuffix = ".pipe";

/// Opens a socket that doesn't block.
OwnDescriptor openSocket(SystemFailure* failure);

/// Binds a socket to a path without a file, and listens.
bool listenOn(const OwnDescriptor& socket, const std::string& localPath, SystemFailure* failure);

/// Connects a socket to a path. While too many clients wait for the server, it tries again.
bool connectTo(const OwnDescriptor& socket, const std::string& localPath, const WaitLimit& limit,
               SystemFailure* failure);

/// The process at the other end of a connected socket.
bool findPeer(int socket, ucred& peer, SystemFailure* failure);

/// Waits until a socket is ready.
/// @param events those of `poll`.
/// @return what is ready; 0 after the end of the wait (ETIMEDOUT, ECANCELED) or an error.
short waitForSocket(int socket, short events, const WaitLimit& limit, SystemFailure* failure);

}  // namespace qz::ext
