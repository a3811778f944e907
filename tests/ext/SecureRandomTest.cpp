// SPDX-License-Identifier: MIT
#include <qz/ext/SecureRandom.h>

#include <signal.h>
#include <sys/mount.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <functional>
#include <iostream>
#include <mutex>
#include <set>
#include <sstream>
#include <string>
#include <system_error>
#include <thread>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include <qz/qzRandomUtils.h>

#include "support/Allocations.h"
#include "support/ChildProcess.h"
#include "support/RefusedCalls.h"
#include "support/ScratchFolder.h"
#include "support/SmallDisk.h"

namespace qz::ext {

namespace {

const std::string kNameCharacters = "abcdefghijkmnpqrstuvwxyz23456789";

// Whether each byte takes several values in some calls, and none before or after is written.
bool fillsEachByte(unsigned long size)
{
    constexpr int kCalls = 40;
    std::vector<unsigned char> first(size + 2, 0xAB);
    std::vector<bool> differs(size);
    SecureRandom::Fill(first.data() + 1, size);
    for (int call = 1; call < kCalls; ++call) {
        std::vector<unsigned char> bytes(size + 2, 0xAB);
        SecureRandom::Fill(bytes.data() + 1, size);
        if (bytes.front() != 0xAB || bytes.back() != 0xAB) return false;
        for (unsigned long i = 0; i < size; ++i)
            differs[i] = differs[i] || bytes[i + 1] != first[i + 1];
    }
    return std::count(differs.begin(), differs.end(), false) == 0;
}

// More than one call of the system gives: 32 MiB less a byte.
bool fillsBeyondOneCall()
{
    constexpr unsigned long kTail = 1000;
    std::vector<unsigned char> bytes((32UL << 20U) + kTail);
    SecureRandom::Fill(bytes.data(), bytes.size());
    return std::count(bytes.end() - kTail, bytes.end(), 0) < 100;
}

// A child prints the result, as nothing of what it does can be undone.
std::string tryInChild(const std::function<void()>& setUp)
{
    return support::runInChild([&] {
               setUp();
               unsigned char bytes[100];
               std::fill(std::begin(bytes), std::end(bytes), 0xAB);
               try {
                   SecureRandom::Fill(bytes, sizeof bytes);
                   std::cout << "filled " << fillsEachByte(30) << fillsBeyondOneCall();
               } catch (const std::system_error& error) {
                   std::cout << error.code().value() << ' ' << error.what()
                             << ", zeros: " << std::count(std::begin(bytes), std::end(bytes), 0);
               }
               return 0;
           })
        .out;
}

}  // namespace

TEST(SecureRandomTest, FillsEachByteAndNoneBeside)
{
    for (const unsigned long size : {0UL, 1UL, 2UL, 16UL, 255UL, 256UL, 257UL, 5000UL})
        EXPECT_TRUE(fillsEachByte(size)) << size;
    EXPECT_TRUE(fillsBeyondOneCall());
    SecureRandom::Fill(nullptr, 0);
}

TEST(SecureRandomTest, LeavesErrno)
{
    errno = EBADF;
    char byte = 0;
    SecureRandom::Fill(&byte, 1);
    EXPECT_EQ(errno, EBADF);
}

TEST(SecureRandomTest, GivesNumbersBelowTheLimit)
{
    for (const unsigned long below : {1UL, 2UL, 3UL, 1000UL, (1UL << 63U) + 1, ~0UL}) {
        for (int i = 0; i < 100; ++i)
            EXPECT_LT(SecureRandom::Uniform(below), below);
    }
    unsigned long bits = 0;
    for (int i = 0; i < 200; ++i)
        bits |= SecureRandom::Uniform(0);
    EXPECT_EQ(bits, ~0UL) << "0 is no limit";
}

// The bounds are ten standard deviations away.
TEST(SecureRandomTest, GivesEachNumberWithTheSameProbability)
{
    std::vector<int> counts(6);
    for (int i = 0; i < 12'000; ++i)
        ++counts[SecureRandom::Uniform(6)];
    EXPECT_GT(*std::min_element(counts.begin(), counts.end()), 1590);
    EXPECT_LT(*std::max_element(counts.begin(), counts.end()), 2410);

    // A remainder alone would give the lowest third half of the numbers.
    constexpr unsigned long kQuarter = 1UL << 62U;
    int low = 0;
    for (int i = 0; i < 9000; ++i)
        low += SecureRandom::Uniform(3 * kQuarter) < kQuarter ? 1 : 0;
    EXPECT_GT(low, 3000 - 450);
    EXPECT_LT(low, 3000 + 450);
}

TEST(SecureRandomTest, MakesNamesOfAllItsCharacters)
{
    EXPECT_EQ(SecureRandom::MakeName(0), "");
    EXPECT_EQ(SecureRandom::MakeName(1).size(), 1U);
    EXPECT_EQ(SecureRandom::MakeName().size(), 26U);
    const std::string name = SecureRandom::MakeName(2000);
    const std::set<char> characters(name.begin(), name.end());
    EXPECT_EQ(std::string(characters.begin(), characters.end()),
              "23456789" + kNameCharacters.substr(0, 24));
    EXPECT_NE(SecureRandom::MakeName(), SecureRandom::MakeName());
}

TEST(SecureRandomTest, AllocatesNothing)
{
    const support::AllocationCounter counter;
    unsigned char bytes[1000];
    SecureRandom::Fill(bytes, sizeof bytes);
    SecureRandom::Uniform(10);
    SecureRandom::Generate(bytes, 1000);
    EXPECT_EQ(counter.getCount(), 0U);
}

TEST(SecureRandomTest, IsAGeneratorForRandomNames)
{
    const auto before = qzRandomUtils::SetRandGenerator(&SecureRandom::Generate);
    EXPECT_NE(qzRandomUtils::CreateRandHexString(16), qzRandomUtils::CreateRandHexString(16));
    char byte = 'x';
    EXPECT_EQ(qzRandomUtils::Rand(&byte, 0), 1);
    EXPECT_EQ(qzRandomUtils::Rand(&byte, 0x80000000UL), 1) << "a negative number in 32 bits";
    EXPECT_EQ(byte, 'x');
    EXPECT_EQ(qzRandomUtils::SetRandGenerator(before), &SecureRandom::Generate);
}

// --- Threads, children and signals

TEST(SecureRandomTest, NeverRepeatsInThreadsAndTheirChildren)
{
    constexpr int kThreads = 4;
    constexpr int kNames = 500;
    std::mutex mutex;
    std::vector<std::string> names;  // guarded by mutex
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) {
        threads.emplace_back([&] {
            std::vector<std::string> own(kNames);
            for (std::string& name : own)
                name = SecureRandom::MakeName();
            const std::lock_guard<std::mutex> lock(mutex);
            names.insert(names.end(), own.begin(), own.end());
        });
    }
    constexpr int kChildren = 10;
    std::string printed;
    for (int i = 0; i < kChildren; ++i) {
        printed += support::runInChild([] {
                       std::cout << SecureRandom::MakeName() << ' ' << SecureRandom::MakeName()
                                 << '\n';
                       return 0;
                   }).out;
        const std::lock_guard<std::mutex> lock(mutex);
        names.push_back(SecureRandom::MakeName());
    }
    for (std::thread& thread : threads)
        thread.join();
    std::istringstream words(printed);
    std::string word;
    while (words >> word)
        names.push_back(word);
    EXPECT_EQ(names.size(), kThreads * kNames + 3U * kChildren);
    EXPECT_EQ(std::set<std::string>(names.begin(), names.end()).size(), names.size());
}

namespace {

// @param refusal of the system call, so that the bytes come from the device; 0 for none.
std::string fillDuringSignals(int refusal)
{
    static std::atomic<int> signals = 0;
    const auto work = [refusal] {
        if (refusal != 0) support::refuseSystemCall(SYS_getrandom, refusal);
        struct sigaction action = {};
        action.sa_handler = [](int) { ++signals; };  // without SA_RESTART
        ::sigaction(SIGALRM, &action, nullptr);
        const itimerval often = {{0, 200}, {0, 200}};
        ::setitimer(ITIMER_REAL, &often, nullptr);
        bool isFilled = true;
        do {
            isFilled = isFilled && fillsBeyondOneCall();
        } while (signals < 10);
        const itimerval never = {};
        ::setitimer(ITIMER_REAL, &never, nullptr);
        return isFilled ? 0 : 1;
    };
    return support::runInChild(work).getEnd();
}

}  // namespace

TEST(SecureRandomTest, GoesOnAfterSignals)
{
    EXPECT_EQ(fillDuringSignals(0), "exit 0");
    EXPECT_EQ(fillDuringSignals(ENOSYS), "exit 0");
}

// --- Without the system call

class SecureRandomRefused : public ::testing::TestWithParam<int> {};

TEST_P(SecureRandomRefused, TakesTheBytesOfTheDevice)
{
    EXPECT_EQ(tryInChild([] { support::refuseSystemCall(SYS_getrandom, GetParam()); }),
              "filled 11");
}

INSTANTIATE_TEST_SUITE_P(Errors, SecureRandomRefused, ::testing::Values(ENOSYS, EPERM));

TEST(SecureRandomTest, ThrowsAndGivesNoWeakBytesIfTheSystemHasNone)
{
    EXPECT_EQ(tryInChild([] { support::refuseSystemCall(SYS_getrandom, EIO); }),
              "5 no random bytes, getrandom: Input/output error, zeros: 100");
    EXPECT_EQ(tryInChild([] {
                  support::refuseSystemCall(SYS_getrandom, ENOSYS);
                  support::refuseSystemCall(SYS_openat, EMFILE);
              }),
              "24 no random bytes, /dev/random: Too many open files, zeros: 100");
    const support::ChildResult result = support::runInChild([] {
        support::refuseSystemCall(SYS_getrandom, EIO);
        qzRandomUtils::SetRandGenerator(&SecureRandom::Generate);
        int thrown = 0;
        const auto expectThrow = [&](const std::function<void()>& call) {
            try {
                call();
            } catch (const std::system_error&) {
                ++thrown;
            }
        };
        expectThrow([] { qzRandomUtils::CreateRandHexString(8); });
        expectThrow([] { SecureRandom::MakeName(); });
        expectThrow([] { SecureRandom::Uniform(8); });
        return thrown;
    });
    EXPECT_EQ(result.getEnd(), "exit 3");
}

// In a folder made for `chroot`, somebody may have made files in place of the devices, or devices
// with another number.
TEST(SecureRandomTest, ThrowsIfAnotherFileIsInThePlaceOfADevice)
{
    const support::ScratchFolder folder;
    const std::string file = folder.write("file", std::string(1000, 'x'));
    const std::string zeros = "/dev/zero";
    const std::pair<std::string, const char*> rows[] = {{file, "/dev/random"},
                                                        {file, "/dev/urandom"},
                                                        {zeros, "/dev/random"},
                                                        {zeros, "/dev/urandom"}};
    for (const auto& [other, device] : rows) {
        const std::string outcome = tryInChild([&, &other = other, &device = device] {
            const bool isMounted = support::mountSmallDisk(folder.getPath(), "64k") &&
                                   std::ofstream(file).put('x').flush() &&
                                   ::mount(other.c_str(), device, nullptr, MS_BIND, nullptr) == 0;
            // Not even with rights under the thread sanitizer, which has a thread of its own.
            if (!isMounted) std::cout << "no mount: " << std::strerror(errno) << "; ";
            support::refuseSystemCall(SYS_getrandom, ENOSYS);
        });
        if (outcome.rfind("no mount", 0) == 0) GTEST_SKIP() << outcome;
        EXPECT_EQ(outcome,
                  std::string("19 no random bytes, ") + device + ": No such device, zeros: 100")
            << other;
    }
}

}  // namespace qz::ext
