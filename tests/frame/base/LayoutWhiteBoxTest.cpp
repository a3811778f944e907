// SPDX-License-Identifier: MIT
// The order and the offsets of the fields of every class whose layout is fixed: programs that were
// built against an earlier release hold these objects by value.

#include <cstddef>
#include <cstring>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include <qz/qz.h>

#include "io/qzIoDeviceByteContainerReadOnly.h"
#include "io/qzIoDeviceNullWriteOnly.h"
#include "log/qzLogParameters.h"

namespace qz {

namespace {

// Private fields are named as arguments of explicit instantiations, where the language checks no
// access. So no class needs a friend for this list. A pointer to a data member is the member's
// offset (Itanium C++ ABI).
template <typename Tag, auto... Members>
struct Expose {
    friend std::vector<std::ptrdiff_t> getOffsets(Tag /*tag*/)
    {
        std::vector<std::ptrdiff_t> offsets;
        (offsets.push_back(toOffset(Members)), ...);
        return offsets;
    }
    template <typename Member>
    static std::ptrdiff_t toOffset(Member member)
    {
        static_assert(sizeof(Member) == sizeof(std::ptrdiff_t));
        std::ptrdiff_t offset = 0;
        std::memcpy(&offset, &member, sizeof offset);
        return offset;
    }
};

// Defines `getOffsets` of a tag: the offsets of these fields, in this order.
#define QZ_FIELDS(Tag, ...)                                 \
    struct Tag {                                            \
        friend std::vector<std::ptrdiff_t> getOffsets(Tag); \
    };                                                      \
    template struct Expose<Tag, __VA_ARGS__>

QZ_FIELDS(ImplLibInitCounterFields, &impl::LibInitCounter::mCount, &impl::LibInitCounter::mTouched,
          &impl::LibInitCounter::mFlag, &impl::LibInitCounter::mName);
QZ_FIELDS(QzVersionFields, &qzVersion::mMajor, &qzVersion::mMinor, &qzVersion::mRevision,
          &qzVersion::mBuild, &qzVersion::mStage, &qzVersion::mDescription);
QZ_FIELDS(StampFields, &Stamp::mValue);
QZ_FIELDS(StampGeneratorFields, &StampGenerator::mNext);
QZ_FIELDS(QzHighResTimerFields, &qzHighResTimer::mTimes);
QZ_FIELDS(QzByteArrayLowFootprintFields, &qzByteArrayLowFootprint::mWord);
QZ_FIELDS(MimeTypeInfoFields, &MimeTypeInfo::type, &MimeTypeInfo::compressible);
QZ_FIELDS(AsciiTableBuilderFields, &AsciiTableBuilder::mRows, &AsciiTableBuilder::mTitle);
QZ_FIELDS(AsciiTableBuilderCellContentFields, &AsciiTableBuilder::CellContent::content,
          &AsciiTableBuilder::CellContent::fused);
QZ_FIELDS(QzVariantFields, &qzVariant::mCell, &qzVariant::mType);
QZ_FIELDS(QzVariantDateTimeFields, &qzVariant::DateTime::count);
QZ_FIELDS(QzCsvStreamFields, &qzCsvStream::mScratch, &qzCsvStream::mLineEnd, &qzCsvStream::mDevice,
          &qzCsvStream::mRowCount, &qzCsvStream::mCellCount, &qzCsvStream::mColumnDelimiter,
          &qzCsvStream::mStringDelimiter, &qzCsvStream::mIsOk);
QZ_FIELDS(QzCsvFileWriterFields, &qzCsvFileWriter::mHeaders, &qzCsvFileWriter::mFolder,
          &qzCsvFileWriter::mBaseName, &qzCsvFileWriter::mMaxRowsPerFile,
          &qzCsvFileWriter::mFileIndex, &qzCsvFileWriter::mFile, &qzCsvFileWriter::mStream,
          &qzCsvFileWriter::mWritesByteOrderMark);
QZ_FIELDS(QzCsvFileReaderFields, &qzCsvFileReader::mInput, &qzCsvFileReader::mCursor,
          &qzCsvFileReader::mBufferEnd, &qzCsvFileReader::mFileSize, &qzCsvFileReader::mBytesRead,
          &qzCsvFileReader::mTable, &qzCsvFileReader::mFileName, &qzCsvFileReader::mLastError,
          &qzCsvFileReader::mCell, &qzCsvFileReader::mReadBuffer, &qzCsvFileReader::mRowBytes,
          &qzCsvFileReader::mCellSizes, &qzCsvFileReader::mMaxColumnCount,
          &qzCsvFileReader::mColumnDelimiter, &qzCsvFileReader::mStringDelimiter,
          &qzCsvFileReader::mTypeGuess);
QZ_FIELDS(QzIoDeviceFields, &qzIoDevice::mErrorMessage, &qzIoDevice::mDataWay, &qzIoDevice::mError);
QZ_FIELDS(QzIoDeviceBroadcastFields, &qzIoDeviceBroadcast::mDevices);
QZ_FIELDS(QzIoDeviceFileStreamFields, &qzIoDeviceFileStream::mStream,
          &qzIoDeviceFileStream::mFilePath, &qzIoDeviceFileStream::mPosition,
          &qzIoDeviceFileStream::mIsOpen);
QZ_FIELDS(QzIoDeviceStdStreamProxyFields, &qzIoDeviceStdStreamProxy::mInput,
          &qzIoDeviceStdStreamProxy::mOutput);
QZ_FIELDS(QzIoDeviceByteContainerReadOnlyFields, &qzIoDeviceByteContainerReadOnly::mData,
          &qzIoDeviceByteContainerReadOnly::mSize, &qzIoDeviceByteContainerReadOnly::mPosition);
QZ_FIELDS(QzIoDeviceNullWriteOnlyFields, &qzIoDeviceNullWriteOnly::mPosition,
          &qzIoDeviceNullWriteOnly::mHighWater);
QZ_FIELDS(QzIoDeviceDelegableFields, &qzIoDeviceDelegable::mDelegate,
          &qzIoDeviceDelegable::mDelegationWay, &qzIoDeviceDelegable::mType);
QZ_FIELDS(QzIoDeviceByteCounterFields, &qzIoDeviceByteCounter::mWrittenCount,
          &qzIoDeviceByteCounter::mWriteEnd, &qzIoDeviceByteCounter::mReadCount);
QZ_FIELDS(QzIoDeviceByteSnifferFields, &qzIoDeviceByteSniffer::mDestination);
QZ_FIELDS(QzIoDeviceSignalerFields, &qzIoDeviceSignaler::mSignal, &qzIoDeviceSignaler::mThreshold,
          &qzIoDeviceSignaler::mBytesSinceSignal);
QZ_FIELDS(QzIoDeviceKeepLastBytesFields, &qzIoDeviceKeepLastBytes::mSource,
          &qzIoDeviceKeepLastBytes::mHeldCount, &qzIoDeviceKeepLastBytes::mHeldBytes);
QZ_FIELDS(QzIoDeviceReadBytesLimiterFields, &qzIoDeviceReadBytesLimiter::mSource,
          &qzIoDeviceReadBytesLimiter::mView, &qzIoDeviceReadBytesLimiter::mStart,
          &qzIoDeviceReadBytesLimiter::mRemaining, &qzIoDeviceReadBytesLimiter::mIsFirstRead);
QZ_FIELDS(QzDataStreamFields, &qzDataStream::mDevice, &qzDataStream::mWrite2Bytes,
          &qzDataStream::mWrite4Bytes, &qzDataStream::mWrite8Bytes, &qzDataStream::mRead2Bytes,
          &qzDataStream::mRead4Bytes, &qzDataStream::mRead8Bytes, &qzDataStream::mErrorText,
          &qzDataStream::mEndianness, &qzDataStream::mOk);
QZ_FIELDS(SoftwareVersionInfoForStreamFields, &SoftwareVersionInfoForStream::debug,
          &SoftwareVersionInfoForStream::dev, &SoftwareVersionInfoForStream::beta,
          &SoftwareVersionInfoForStream::description);
QZ_FIELDS(QzLogFields, &qzLog::mParameters, &qzLog::mLogThread, &qzLog::mTypeEnabled);
QZ_FIELDS(QzLogLogEntryFields, &qzLog::LogEntry::message, &qzLog::LogEntry::subType,
          &qzLog::LogEntry::systemLogTag, &qzLog::LogEntry::prefix, &qzLog::LogEntry::threadId,
          &qzLog::LogEntry::timeMs, &qzLog::LogEntry::type);
QZ_FIELDS(QzLogParametersFields, &qzLogParameters::customHandler,
          &qzLogParameters::customHandlerData, &qzLogParameters::subTypeBlacklist,
          &qzLogParameters::pendingNotice, &qzLogParameters::fileFlags,
          &qzLogParameters::maxFileCount, &qzLogParameters::maxFileSize,
          &qzLogParameters::timeRotation, &qzLogParameters::echoToConsole,
          &qzLogParameters::consoleFallback, &qzLogParameters::rotationPending,
          &qzLogParameters::folder, &qzLogParameters::baseName, &qzLogParameters::extension,
          &qzLogParameters::requestedPath, &qzLogParameters::currentFileUtf8,
          &qzLogParameters::currentFileLocal);
QZ_FIELDS(QzThreadFields, &qzThread::mThread, &qzThread::mDescription, &qzThread::mRunning);
QZ_FIELDS(QzThreadPeriodicalUpdaterFields, &qzThreadPeriodicalUpdater::mCallbacks,
          &qzThreadPeriodicalUpdater::mMutex, &qzThreadPeriodicalUpdater::mWake,
          &qzThreadPeriodicalUpdater::mPeriodMs, &qzThreadPeriodicalUpdater::mStopRequested);
QZ_FIELDS(QzMutexFields, &qzMutex::mImpl);
QZ_FIELDS(QzMutex2Fields, &qzMutex2::mImpl);
QZ_FIELDS(QzMutexSystemFields, &qzMutexSystem::mImpl);
QZ_FIELDS(QzMutexLockerFields, &qzMutexLocker::mMutex, &qzMutexLocker::mLocked);
QZ_FIELDS(QzSemaphoreFields, &qzSemaphore::mMutex, &qzSemaphore::mReleased,
          &qzSemaphore::mResources);
QZ_FIELDS(QzWaitConditionFields, &qzWaitCondition::mImpl);
QZ_FIELDS(QzWorkThreadFields, &qzWorkThread::mWake, &qzWorkThread::mQueueMutex,
          &qzWorkThread::mJobMutex, &qzWorkThread::mStopRequested, &qzWorkThread::mIdle,
          &qzWorkThread::mJobs);
QZ_FIELDS(QzCancelInterfaceProxyReadOnlyFields, &qzCancelInterfaceProxyReadOnly::mFlag,
          &qzCancelInterfaceProxyReadOnly::mParent);
QZ_FIELDS(QzCancelInterfaceProxyFields, &qzCancelInterfaceProxy::mFlag,
          &qzCancelInterfaceProxy::mTarget, &qzCancelInterfaceProxy::mParent);
QZ_FIELDS(QzFileInfoUtf8Fields, &qzFileInfoUtf8::path, &qzFileInfoUtf8::lastAccessTime,
          &qzFileInfoUtf8::lastStatusChangeTime, &qzFileInfoUtf8::lastModificationTime,
          &qzFileInfoUtf8::size);
QZ_FIELDS(QzXRefResolverSearchPathIndexEntryFields, &qzXRefResolverSearchPath::IndexEntry::fileName,
          &qzXRefResolverSearchPath::IndexEntry::reversedFolder);
QZ_FIELDS(QzXRefResolverSearchPathtMatchResultFields, &qzXRefResolverSearchPath::tMatchResult::type,
          &qzXRefResolverSearchPath::tMatchResult::matchLength,
          &qzXRefResolverSearchPath::tMatchResult::path);

#undef QZ_FIELDS

struct Layout {
    const char* name;
    std::size_t actualSize;
    std::size_t size;
    std::vector<std::ptrdiff_t> actualOffsets;
    std::vector<std::ptrdiff_t> offsets;
};

std::vector<Layout> getLayouts()
{
    return {
        {"impl::LibInitCounter",
         sizeof(impl::LibInitCounter),
         40,
         getOffsets(ImplLibInitCounterFields{}),
         {0, 4, 5, 8}},
        {"qzVersion",
         sizeof(qzVersion),
         64,
         getOffsets(QzVersionFields{}),
         {8, 12, 16, 20, 24, 32}},
        {"Stamp", sizeof(Stamp), 8, getOffsets(StampFields{}), {0}},
        {"StampGenerator", sizeof(StampGenerator), 16, getOffsets(StampGeneratorFields{}), {8}},
        {"qzHighResTimer", sizeof(qzHighResTimer), 8, getOffsets(QzHighResTimerFields{}), {0}},
        {"qzByteArrayLowFootprint",
         sizeof(qzByteArrayLowFootprint),
         8,
         getOffsets(QzByteArrayLowFootprintFields{}),
         {0}},
        {"MimeTypeInfo", sizeof(MimeTypeInfo), 40, getOffsets(MimeTypeInfoFields{}), {0, 32}},
        {"AsciiTableBuilder",
         sizeof(AsciiTableBuilder),
         56,
         getOffsets(AsciiTableBuilderFields{}),
         {0, 24}},
        {"AsciiTableBuilder::CellContent",
         sizeof(AsciiTableBuilder::CellContent),
         40,
         getOffsets(AsciiTableBuilderCellContentFields{}),
         {0, 32}},
        {"qzVariant", sizeof(qzVariant), 16, getOffsets(QzVariantFields{}), {0, 8}},
        {"qzVariant::DateTime",
         sizeof(qzVariant::DateTime),
         8,
         getOffsets(QzVariantDateTimeFields{}),
         {0}},
        {"qzCsvStream",
         sizeof(qzCsvStream),
         80,
         getOffsets(QzCsvStreamFields{}),
         {0, 24, 56, 64, 68, 72, 73, 74}},
        {"qzCsvFileWriter",
         sizeof(qzCsvFileWriter),
         120,
         getOffsets(QzCsvFileWriterFields{}),
         {0, 24, 56, 88, 92, 96, 104, 112}},
        {"qzCsvFileReader",
         sizeof(qzCsvFileReader),
         240,
         getOffsets(QzCsvFileReaderFields{}),
         {0, 8, 16, 24, 32, 40, 64, 96, 128, 152, 176, 200, 224, 228, 232, 236}},
        {"qzIoDevice", sizeof(qzIoDevice), 48, getOffsets(QzIoDeviceFields{}), {8, 40, 44}},
        {"qzIoDeviceRandomAccess", sizeof(qzIoDeviceRandomAccess), 48, {}, {}},
        {"qzIoDeviceBroadcast",
         sizeof(qzIoDeviceBroadcast),
         72,
         getOffsets(QzIoDeviceBroadcastFields{}),
         {48}},
        {"qzIoDeviceDummy", sizeof(qzIoDeviceDummy), 48, {}, {}},
        {"qzIoDeviceFileStream",
         sizeof(qzIoDeviceFileStream),
         104,
         getOffsets(QzIoDeviceFileStreamFields{}),
         {48, 56, 88, 96}},
        {"qzIoDeviceStdStreamProxy",
         sizeof(qzIoDeviceStdStreamProxy),
         64,
         getOffsets(QzIoDeviceStdStreamProxyFields{}),
         {48, 56}},
        {"qzIoDeviceByteContainerReadOnly",
         sizeof(qzIoDeviceByteContainerReadOnly),
         72,
         getOffsets(QzIoDeviceByteContainerReadOnlyFields{}),
         {48, 56, 64}},
        {"qzIoDeviceNullWriteOnly",
         sizeof(qzIoDeviceNullWriteOnly),
         64,
         getOffsets(QzIoDeviceNullWriteOnlyFields{}),
         {48, 56}},
        {"qzIoDeviceDelegable",
         sizeof(qzIoDeviceDelegable),
         64,
         getOffsets(QzIoDeviceDelegableFields{}),
         {48, 56, 60}},
        {"qzIoDeviceByteCounter",
         sizeof(qzIoDeviceByteCounter),
         88,
         getOffsets(QzIoDeviceByteCounterFields{}),
         {64, 72, 80}},
        {"qzIoDeviceByteSniffer",
         sizeof(qzIoDeviceByteSniffer),
         72,
         getOffsets(QzIoDeviceByteSnifferFields{}),
         {64}},
        {"qzIoDeviceSignaler",
         sizeof(qzIoDeviceSignaler),
         88,
         getOffsets(QzIoDeviceSignalerFields{}),
         {64, 72, 80}},
        {"qzIoDeviceKeepLastBytes",
         sizeof(qzIoDeviceKeepLastBytes),
         96,
         getOffsets(QzIoDeviceKeepLastBytesFields{}),
         {48, 56, 64}},
        {"qzIoDeviceReadBytesLimiter",
         sizeof(qzIoDeviceReadBytesLimiter),
         88,
         getOffsets(QzIoDeviceReadBytesLimiterFields{}),
         {48, 56, 64, 72, 80}},
        {"qzDataStream",
         sizeof(qzDataStream),
         144,
         getOffsets(QzDataStreamFields{}),
         {0, 8, 24, 40, 56, 72, 88, 104, 136, 140}},
        {"SoftwareVersionInfoForStream",
         sizeof(SoftwareVersionInfoForStream),
         40,
         getOffsets(SoftwareVersionInfoForStreamFields{}),
         {0, 1, 2, 8}},
        {"qzLog", sizeof(qzLog), 24, getOffsets(QzLogFields{}), {0, 8, 16}},
        {"qzLog::LogEntry",
         sizeof(qzLog::LogEntry),
         176,
         getOffsets(QzLogLogEntryFields{}),
         {0, 32, 64, 96, 128, 160, 168}},
        {"qzLogObject", sizeof(qzLogObject), 88, {}, {}},
        {"qzLogParameters",
         sizeof(qzLogParameters),
         320,
         getOffsets(QzLogParametersFields{}),
         {0, 8, 16, 64, 96, 100, 104, 112, 116, 117, 118, 120, 152, 184, 216, 248, 280}},
        {"qzThread", sizeof(qzThread), 56, getOffsets(QzThreadFields{}), {8, 16, 48}},
        {"qzThreadPeriodicalUpdater",
         sizeof(qzThreadPeriodicalUpdater),
         120,
         getOffsets(QzThreadPeriodicalUpdaterFields{}),
         {56, 80, 96, 112, 116}},
        {"qzThreadPeriodicalUpdater::CallbackInfo",
         sizeof(qzThreadPeriodicalUpdater::CallbackInfo),
         16,
         {},
         {}},
        {"qzMutex", sizeof(qzMutex), 16, getOffsets(QzMutexFields{}), {8}},
        {"qzMutex2", sizeof(qzMutex2), 16, getOffsets(QzMutex2Fields{}), {8}},
        {"qzMutexSystem", sizeof(qzMutexSystem), 8, getOffsets(QzMutexSystemFields{}), {0}},
        {"qzMutexLocker", sizeof(qzMutexLocker), 16, getOffsets(QzMutexLockerFields{}), {0, 8}},
        {"qzSemaphore", sizeof(qzSemaphore), 40, getOffsets(QzSemaphoreFields{}), {0, 16, 32}},
        {"qzWaitCondition", sizeof(qzWaitCondition), 16, getOffsets(QzWaitConditionFields{}), {8}},
        {"qzWorkThread",
         sizeof(qzWorkThread),
         136,
         getOffsets(QzWorkThreadFields{}),
         {56, 72, 88, 104, 105, 112}},
        {"qzCancelInterfaceProxyReadOnly",
         sizeof(qzCancelInterfaceProxyReadOnly),
         24,
         getOffsets(QzCancelInterfaceProxyReadOnlyFields{}),
         {8, 16}},
        {"qzCancelInterfaceProxy",
         sizeof(qzCancelInterfaceProxy),
         32,
         getOffsets(QzCancelInterfaceProxyFields{}),
         {8, 16, 24}},
        {"qzFileInfoUtf8",
         sizeof(qzFileInfoUtf8),
         72,
         getOffsets(QzFileInfoUtf8Fields{}),
         {0, 32, 40, 48, 56}},
        {"qzXRefResolverSearchPath::IndexEntry",
         sizeof(qzXRefResolverSearchPath::IndexEntry),
         64,
         getOffsets(QzXRefResolverSearchPathIndexEntryFields{}),
         {0, 32}},
        {"qzXRefResolverSearchPath::tMatchResult",
         sizeof(qzXRefResolverSearchPath::tMatchResult),
         48,
         getOffsets(QzXRefResolverSearchPathtMatchResultFields{}),
         {0, 8, 16}},
    };
}

class Layouts : public ::testing::TestWithParam<Layout> {};

}  // namespace

TEST_P(Layouts, AreAsOlderProgramsKnowThem)
{
    EXPECT_EQ(GetParam().actualSize, GetParam().size);
    EXPECT_EQ(GetParam().actualOffsets, GetParam().offsets);
}

INSTANTIATE_TEST_SUITE_P(Classes, Layouts, ::testing::ValuesIn(getLayouts()), [](const auto& row) {
    std::string name = row.param.name;
    for (char& c : name)
        if (c == ':') c = '_';
    return name;
});

}  // namespace qz
