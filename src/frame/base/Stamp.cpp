// SPDX-License-Identifier: MIT
#include <qz/Stamp.h>

namespace qz {

StampGenerator::StampGenerator() : mNext(std::make_unique<unsigned long>(1)) {}

StampGenerator::~StampGenerator() = default;

Stamp StampGenerator::generateStamp()
{
    return Stamp(__atomic_fetch_add(mNext.get(), 1UL, __ATOMIC_RELAXED));
}

}  // namespace qz
