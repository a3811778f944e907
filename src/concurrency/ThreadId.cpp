// SPDX-License-Identifier: MIT
#include <charconv>

#include <sys/syscall.h>
#include <unistd.h>

#include <qz/qzThread.h>

#include "LoadingThread.h"
#include "frame/base/LoadOrder.h"

namespace qz {

namespace {

std::string makeThreadIdText()
{
    char digits[24];
    auto* const end = std::to_chars(digits, digits + sizeof digits, ::syscall(SYS_gettid)).ptr;
    return {digits, end};
}

}  // namespace

const std::string& qzThread::CurrentThreadId()
{
    thread_local const std::string text = makeThreadIdText();
    return text;
}

[[gnu::init_priority(QZ_LOAD_LOADING_THREAD)]] const std::string gLoadingThreadId =
    qzThread::CurrentThreadId();

}  // namespace qz
