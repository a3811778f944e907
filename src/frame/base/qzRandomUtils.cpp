// SPDX-License-Identifier: MIT
#include <qz/qzRandomUtils.h>

#include <cstdlib>
#include <mutex>
#include <utility>
#include <vector>

#include <sys/random.h>

#include <qz/qzSystemUtils.h>

#include "ForkProtocol.h"
#include "HexDigits.h"
#include "LoadOrder.h"
#include "RandomSeed.h"

namespace qz {

[[gnu::init_priority(QZ_LOAD_TIME)]] RandomSeed gRandomSeed;

namespace {

// `rand` locks a mutex of the C library, which no thread may hold while the process forks. This one
// is locked around all calls of it here.
std::mutex gRandMutex;
thread_local bool tIsSeeded = false;  // cleared in a forked child

void prepareFork()
{
    gRandMutex.lock();
}

void resumeParent()
{
    gRandMutex.unlock();
}

void resumeChild()
{
    gRandomSeed.next += qzSystemUtils::GetCurrentProcessID();  // if the system has no random bytes
    [[maybe_unused]] const ssize_t drawn =
        ::getrandom(&gRandomSeed.next, sizeof gRandomSeed.next, GRND_NONBLOCK);
    tIsSeeded = false;
    gRandMutex.unlock();
}

int fillFromStandardRand(unsigned char* buffer, int size)
{
    const std::lock_guard<std::mutex> lock(gRandMutex);
    if (!tIsSeeded) {
        std::srand(static_cast<unsigned>(gRandomSeed.next++));
        tIsSeeded = true;
    }
    for (int i = 0; i < size; ++i) {
        buffer[i] = static_cast<unsigned char>(std::rand());
    }
    return 1;
}

}  // namespace

RandomSeed::RandomSeed() : next(qzSystemUtils::GetMSecElapsedSinceEpoch())
{
    // Already now, since random names need no start of the library.
    joinForkProtocol(ForkParticipant::RandomSeed, {&prepareFork, &resumeParent, &resumeChild});
}

qzRandomUtils::Generator qzRandomUtils::sRandGenerator = &fillFromStandardRand;

qzRandomUtils::Generator qzRandomUtils::SetRandGenerator(Generator generator)
{
    return std::exchange(sRandGenerator, generator != nullptr ? generator : &fillFromStandardRand);
}

int qzRandomUtils::Rand(char* buffer, unsigned long size)
{
    return sRandGenerator(reinterpret_cast<unsigned char*>(buffer), static_cast<int>(size));
}

std::string qzRandomUtils::CreateRandHexString(unsigned long byteCount)
{
    std::vector<unsigned char> bytes(byteCount != 0 ? byteCount : 1);
    Rand(reinterpret_cast<char*>(bytes.data()), bytes.size());
    std::string text;
    writeHexDigits(bytes.data(), bytes.size(), text);
    return text;
}

}  // namespace qz
