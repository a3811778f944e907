#include <qz/qzRandomUtils.h>

#include <cstdlib>
#include <utility>
#include <vector>

#include <qz/qzSystemUtils.h>

#include "HexDigits.h"
#include "LoadOrder.h"
#include "RandomSeed.h"

namespace qz {

[[gnu::init_priority(QZ_LOAD_TIME)]] RandomSeed gRandomSeed = {
    qzSystemUtils::GetMSecElapsedSinceEpoch()};

namespace {

int fillFromStandardRand(unsigned char* buffer, int size)
{
    thread_local bool isSeeded = false;
    if (!isSeeded) {
        const long seed = __atomic_fetch_add(&gRandomSeed.next, 1L, __ATOMIC_RELAXED);
        std::srand(static_cast<unsigned>(seed));
        isSeeded = true;
    }
    for (int i = 0; i < size; ++i) {
        buffer[i] = static_cast<unsigned char>(std::rand());
    }
    return 1;
}

}  // namespace

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
