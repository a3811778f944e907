// SPDX-License-Identifier: MIT
#include "OutputSink.h"

#include <cerrno>

#include <qz/qzIoDevice.h>
#include <qz/qzLogObject.h>

namespace qz::ext {

namespace {

LineSplitter::Handler makeHandler(const ChildOutput& target)
{
    if (target.kind == ChildOutput::Kind::Lines) return target.onLine;
    return [type = target.type, subType = target.text](std::string_view line) {
        if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
        if (line.empty()) return;
        const char* const channel = subType.empty() ? nullptr : subType.c_str();
        qzLogObject(type, /*synchronous=*/false, channel, nullptr) << std::string(line);
    };
}

}  // namespace

OutputSink::OutputSink(const ChildOutput& target)
    : mKind(target.kind), mLeft(target.limitBytes), mDevice(target.device)
{
    if (mKind == ChildOutput::Kind::Lines || mKind == ChildOutput::Kind::Log)
        mLines.emplace(makeHandler(target), target.limitBytes);
}

void OutputSink::add(std::string_view bytes)
{
    if (mLines) return mLines->add(bytes);
    if (bytes.size() > mLeft) {
        mIsCut = true;
        bytes = bytes.substr(0, mLeft);
    }
    mLeft -= bytes.size();
    if (mKind == ChildOutput::Kind::Memory) {
        mText.append(bytes);
    } else if (!bytes.empty() && !mFailure) {
        if (mDevice->writeBytes(bytes.data(), bytes.size()) != bytes.size())
            mFailure = {"write to the device", EIO};
    }
}

void OutputSink::finish()
{
    if (mLines) mLines->finish();
}

}  // namespace qz::ext
