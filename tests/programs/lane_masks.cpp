// SPDX-License-Identifier: MIT
// Prints the lane masks at load, light started, stopped, and started again: eight digits a lane,
// lane 0 first, a line a mask.

#include <cstdio>

#include <qz/qzSimdConstants.h>
#include <qz/qzSystem.h>

namespace {

struct Mask {
    const char* name;
    const qz::qzSimdBits* bits;
};

constexpr Mask kMasks[] = {
    {"FF_FF_FF_FF", &qz::sSSE_FF_FF_FF_FF}, {"0_FF_FF_FF", &qz::sSSE_0_FF_FF_FF},
    {"FF_0_FF_FF", &qz::sSSE_FF_0_FF_FF},   {"FF_FF_0_FF", &qz::sSSE_FF_FF_0_FF},
    {"FF_FF_FF_0", &qz::sSSE_FF_FF_FF_0},   {"FF_FF_0_0", &qz::sSSE_FF_FF_0_0},
    {"FF_0_0_0", &qz::sSSE_FF_0_0_0},       {"0_FF_0_0", &qz::sSSE_0_FF_0_0},
    {"0_0_FF_0", &qz::sSSE_0_0_FF_0},       {"0_0_0_FF", &qz::sSSE_0_0_0_FF},
};

void print(const char* when)
{
    std::printf("%s\n", when);
    for (const auto& [name, bits] : kMasks) {
        std::printf("%s %08x %08x %08x %08x\n", name, bits->lanes[0], bits->lanes[1],
                    bits->lanes[2], bits->lanes[3]);
    }
}

}  // namespace

int main()
{
    print("loaded");
    qz::initializeQzSystem(qz::LightInit);
    print("started");
    qz::terminateQzSystem();
    print("stopped");
    qz::initializeQzSystem(qz::FullInit);
    print("started again");
    qz::terminateQzSystem();
    return 0;
}
