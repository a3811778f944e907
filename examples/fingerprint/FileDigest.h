// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include <qz/qzCancelInterface.h>

#include "FileEntry.h"

namespace fingerprint {

/// Reads a file, and stores its digest and size in the entry, or the reason why it can't be read. A
/// file that grows meanwhile is read up to the end that it had when it was opened. A request to
/// stop leaves the entry as it is. Threads: several at a time, each with an own entry.
void digestFile(const std::string& path, const qz::qzCancelInterfaceReadOnly& cancel,
                FileEntry& entry);

}  // namespace fingerprint
