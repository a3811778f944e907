// SPDX-License-Identifier: MIT
#include "InputSource.h"

#include <algorithm>
#include <cerrno>
#include <utility>

#include <qz/qzIoDevice.h>

namespace qz::ext {

namespace {

constexpr std::size_t kChunkBytes = 65536;

}  // namespace

InputSource::InputSource(ChildInput source) : mSource(std::move(source)), mLeft(mSource.limitBytes)
{
}

std::string_view InputSource::getNext()
{
    if (mSource.kind == ChildInput::Kind::Memory)
        return std::string_view(mSource.text).substr(mPosition);
    if (mPosition == mBuffer.size()) fill();
    return std::string_view(mBuffer).substr(mPosition);
}

void InputSource::fill()
{
    mPosition = 0;
    mBuffer.resize(std::min(mLeft, kChunkBytes));
    if (!mBuffer.empty()) mBuffer.resize(mSource.device->readBytes(mBuffer.data(), mBuffer.size()));
    mLeft -= mBuffer.size();
    if (mBuffer.empty() && mSource.device->hasDeviceError() && !mFailure)
        mFailure = {"read from the device", EIO};
}

}  // namespace qz::ext
