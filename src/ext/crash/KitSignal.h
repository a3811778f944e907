// SPDX-License-Identifier: MIT
#pragma once

namespace qz::ext::crash {

/// The real-time signal of the kit, with which threads are covered and which alarms send. The first
/// call chooses the highest one without a handler and installs the kit's; that stays.
/// @return 0 if every signal has a handler.
int getKitSignal();

}  // namespace qz::ext::crash
