// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include "frame/base/FileDescriptor.h"

namespace qz::system {

/// The path of the socket of a pipe's name, in the local character set; empty for a name that can't
/// be converted.
std::string makeSocketPath(const std::string& name);

/// Whether the path is too long for an address.
bool isSocketPathTooLong(const std::string& localPath);

/// Opens a socket for such paths. @return none after a failure.
FileDescriptor openSocket();

/// Calls `bind` for a path. @return false with the reason in `errno`.
bool bindSocket(int socket, const std::string& localPath);

/// Calls `connect` for a path. @return false with the reason in `errno`.
bool connectSocket(int socket, const std::string& localPath);

/// Sets a socket to not block. @return what `fcntl` returns for a failure, else 0.
int setNonBlocking(int socket);

}  // namespace qz::system
