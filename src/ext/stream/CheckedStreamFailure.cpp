// SPDX-License-Identifier: MIT
// What the stream does once something was wrong.

#include <qz/ext/CheckedStream.h>

namespace qz::ext {

bool CheckedStream::fail(StreamFailure::Reason reason, const char* what, unsigned long offset,
                         unsigned long amount, unsigned long bound)
{
    if (!isOk()) return false;
    mReason = reason;
    mWhat = what;
    mFailureOffset = offset;
    mAmount = amount;
    mBound = bound;
    return false;
}

bool CheckedStream::failShort(const char* what, unsigned long offset, unsigned long amount,
                              unsigned long bound)
{
    if (mDevice.good()) return fail(StreamFailure::Ended, what, offset, amount, bound);
    fail(StreamFailure::DeviceError, what, offset);
    mDetail = mDevice.getDeviceErrorMsg();
    return false;
}

bool CheckedStream::reject(const std::string& reason)
{
    if (!isOk()) return false;
    fail(StreamFailure::Rejected, "value", mOffset);
    mDetail = reason;
    return false;
}

StreamFailure CheckedStream::getFailure() const
{
    if (isOk()) return {};
    const std::string amount = std::to_string(mAmount);
    const std::string bound = std::to_string(mBound);
    std::string text;
    switch (mReason) {
        case StreamFailure::None:
            break;
        case StreamFailure::NoFrame:
            text = "the input has ended";
            break;
        case StreamFailure::Ended:
            text = "the input ends after " + amount + " of " + bound + " bytes";
            break;
        case StreamFailure::TrailingData:
            text = "more bytes follow";
            break;
        case StreamFailure::TextLimit:
        case StreamFailure::PayloadLimit:
            text = amount + " bytes exceed the limit of " + bound;
            break;
        case StreamFailure::ListLimit:
            text = amount + " items exceed the limit of " + bound;
            break;
        case StreamFailure::DepthLimit:
            text = "nested deeper than " + bound + " lists";
            break;
        case StreamFailure::TotalLimit:
            text = amount + " bytes exceed the " + bound + " that are left of the whole";
            break;
        case StreamFailure::Foreign:
            text = "the magic is that of another format";
            break;
        case StreamFailure::Newer:
            text = "version " + amount + " is newer than " + bound;
            break;
        case StreamFailure::OtherLayout:
            text = "version " + amount + " is not " + bound;
            break;
        case StreamFailure::Damaged:
            text = "the CRC is wrong";
            break;
        case StreamFailure::Rejected:
            text = mDetail.empty() ? "not accepted" : mDetail;
            break;
        case StreamFailure::EmptyItem:
            text = "an item takes no byte";
            break;
        case StreamFailure::DeviceError:
            text = "the device has failed: " + mDetail;
            break;
        case StreamFailure::Exception:
            text = "an exception has ended the read";
            break;
    }
    return {mReason, mFailureOffset,
            mWhat + (" at offset " + std::to_string(mFailureOffset)) + ": " + text};
}

}  // namespace qz::ext
