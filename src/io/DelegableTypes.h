// SPDX-License-Identifier: MIT
#pragma once

namespace qz {

// The codes of the filters: a common mark and a bit for each class.
constexpr int kDelegableMark = 0x300;
constexpr int kWriteStreamModifierType = kDelegableMark + 1;
constexpr int kByteCounterType = kDelegableMark + 2;
constexpr int kByteSnifferType = kDelegableMark + 4;
constexpr int kSignalerType = kDelegableMark + 8;

}  // namespace qz
