// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include <qz/ext/StreamFailure.h>
#include <qz/qzDataStream.h>
#include <qz/qzExport.h>

namespace qz::ext {

/// The most that a `CheckedStream` accepts. A value exactly at a limit is accepted.
struct StreamLimits {
    /// The most bytes of a text or byte vector, without its length.
    unsigned long textBytes = 16UL << 20U;
    /// The most items of a list.
    unsigned long listItems = 1'000'000;
    /// The most bytes of the whole: those that are read, and besides them the size in memory of
    /// each item of a list, because a short item may be a large object.
    unsigned long totalBytes = 256UL << 20U;
    /// How many lists may be nested in one another; 1 allows no list in a list.
    unsigned int depth = 64;
};

/// Reads what a `qzDataStream` wrote, from untrusted bytes: they may be cut, damaged, or made to do
/// harm.
///
/// Lengths are checked against limits, and memory grows with the bytes that really come: 64 KiB at
/// first, and then at most twice what has come. A read that fails leaves its destination as it was,
/// and so do all reads after it, which don't touch the device: the first failure stays, with its
/// offset and reason.
///
/// @code
/// qz::ext::StreamLimits limits;
/// limits.textBytes = 1000;
/// qz::ext::CheckedStream stream(file, qz::qzDataStream::LittleEndian, limits);
/// if (!(stream >> order.number >> order.price >> order.customer) || !stream.readEnd())
///     qz::logWarning() << stream.getFailure().text;
/// @endcode
///
/// The device may return fewer bytes than requested; it has ended when it returns none. No byte is
/// read that isn't part of a value, so another reader can go on with the device. Only lack of
/// memory, and what a device or callback throws, leaves a read as an exception. The stream has
/// failed then. Threads: one thread uses a stream and its device at a time.
class QZ_API CheckedStream {
public:
    class List;

    /// Makes a stream over a device, which is not owned and must outlive the stream.
    CheckedStream(qzIoDevice& device, qzDataStream::Endianness endianness,
                  const StreamLimits& limits = {});
    /// Makes a stream over bytes in memory, which are not copied and must outlive the stream.
    CheckedStream(std::string_view bytes, qzDataStream::Endianness endianness,
                  const StreamLimits& limits = {});
    /// Leaves the device where it is.
    ~CheckedStream();
    CheckedStream(const CheckedStream&) = delete;
    CheckedStream& operator=(const CheckedStream&) = delete;

    /// Chooses the byte order of what follows.
    void setEndianness(qzDataStream::Endianness endianness);

    /// @name One value, in the form of `qzDataStream`
    /// Each returns whether it was read; otherwise the destination is as it was.
    /// @{
    bool read(bool& value);              ///< Reads 1 byte; any but 0 is true.
    bool read(char& value);              ///< Reads 1 byte.
    bool read(unsigned char& value);     ///< Reads 1 byte.
    bool read(short& value);             ///< Reads 2 bytes.
    bool read(unsigned short& value);    ///< Reads 2 bytes.
    bool read(int& value);               ///< Reads 4 bytes.
    bool read(unsigned int& value);      ///< Reads 4 bytes.
    bool read(long& value);              ///< Reads 8 bytes.
    bool read(unsigned long& value);     ///< Reads 8 bytes.
    bool read(float& value);             ///< Reads 4 bytes.
    bool read(double& value);            ///< Reads 8 bytes.
    bool read(std::string& text);        ///< Reads a length of 4 bytes, and a text.
    bool read(std::vector<char>& text);  ///< Reads a length of 4 bytes, and bytes.
    /// @}

    /// Reads one value, like `read`; convert the stream to `bool` to see whether all went well.
    template <typename T>
    auto operator>>(T& value) -> decltype(static_cast<void>(this->read(value)), *this)
    {
        read(value);
        return *this;
    }

    /// Reads bytes without a length. If this call fails, `data` may hold a part of them.
    bool readRaw(char* data, unsigned long size);

    /// Reads a list: a count, as `stream << static_cast<unsigned int>(count)` writes it, and then
    /// its items, each of at least one byte.
    /// @param items receives the items; as it was if the result is false.
    /// @param readItem reads one item, as `bool(Item&)`. If it returns false, the list has failed;
    ///     call `reject` before, to say why.
    template <typename Item, typename ReadItem>
    bool readList(std::vector<Item>& items, ReadItem readItem);
    /// Reads a list of values for which there is a `read`.
    template <typename Item>
    bool readList(std::vector<Item>& items);

    /// Checks that nothing follows. @return false if a byte follows, which is then consumed.
    bool readEnd();

    /// Ends the ok state, because a value makes no sense. Does nothing if the stream has failed.
    /// @param reason becomes the end of the failure's text.
    /// @return false, for the caller to pass on.
    bool reject(const std::string& reason);

    /// Whether nothing has failed so far.
    bool isOk() const { return mReason == StreamFailure::None; }
    /// Whether nothing has failed so far.
    explicit operator bool() const { return isOk(); }
    /// The first failure; its reason is `None` if there is none.
    StreamFailure getFailure() const;
    /// How many bytes were read, those of a value that failed included.
    unsigned long getOffset() const { return mOffset; }

private:
    friend class FrameReader;

    template <typename Number>
    QZ_LOCAL bool readNumber(Number& value, const char* what);
    template <typename Bytes>
    QZ_LOCAL bool readCounted(Bytes& bytes, const char* what);
    template <typename Bytes>
    QZ_LOCAL bool readSized(Bytes& bytes, unsigned long size, const char* what,
                            unsigned long start);
    QZ_LOCAL bool readWhole(char* data, unsigned long size, const char* what);
    unsigned long getLeft() const { return mEnd - mOffset; }
    QZ_LOCAL unsigned long pullSome(char* data, unsigned long size);
    QZ_LOCAL unsigned long pull(char* data, unsigned long size);
    QZ_LOCAL unsigned long pullRest(char* data, unsigned long size, unsigned long done);
    QZ_LOCAL bool fail(StreamFailure::Reason reason, const char* what, unsigned long offset,
                       unsigned long amount = 0, unsigned long bound = 0);
    QZ_LOCAL bool failShort(const char* what, unsigned long offset, unsigned long amount,
                            unsigned long bound);

    std::unique_ptr<qzIoDevice> mOwnDevice;  // null for a device of the caller
    qzIoDevice& mDevice;
    const StreamLimits mLimits;
    unsigned long mOffset = 0;
    unsigned long mEnd;  // the largest offset, by the limit of the whole and the items so far
    unsigned int mDepth = 0;
    bool mIsBigEndian;

    // The failure in parts, because it must be noted without memory.
    StreamFailure::Reason mReason = StreamFailure::None;
    const char* mWhat = "";
    unsigned long mFailureOffset = 0;
    unsigned long mAmount = 0;
    unsigned long mBound = 0;
    std::string mDetail;  // of the device or of the program; empty if there was no memory for it
};

/// Reads a list into something else than a vector, item by item.
///
/// @code
/// qz::ext::CheckedStream::List list(stream);
/// while (list.next(sizeof(Order))) {
///     Order order;
///     if (!readOrder(stream, order)) break;
///     orders.insert(std::move(order));
/// }
/// if (!list.isComplete()) return false;
/// @endcode
class QZ_API CheckedStream::List {
public:
    /// Reads the count. The stream must outlive the object.
    explicit List(CheckedStream& stream);
    /// Fails the stream unless the list was read to its end, or has failed.
    ~List();
    List(const List&) = delete;
    List& operator=(const List&) = delete;

    /// Whether there is another item, which the caller must read then. The stream fails if the item
    /// before took no byte.
    /// @param itemBytes the size of the item in memory, which counts for the limit of the whole.
    bool next(unsigned long itemBytes);
    /// Whether `next` has found the end of the list.
    bool isComplete() const { return mIsComplete; }

private:
    CheckedStream& mStream;
    unsigned long mListOffset;
    unsigned long mItemOffset;
    unsigned int mLeft = 0;
    bool mIsComplete = false;
};

template <typename Item, typename ReadItem>
bool CheckedStream::readList(std::vector<Item>& items, ReadItem readItem)
{
    std::vector<Item> fresh;
    List list(*this);
    while (list.next(sizeof(Item))) {
        Item item{};
        if (!readItem(item)) return false;
        fresh.push_back(std::move(item));
    }
    if (list.isComplete()) items.swap(fresh);
    return list.isComplete();
}

template <typename Item>
bool CheckedStream::readList(std::vector<Item>& items)
{
    return readList(items, [this](Item& item) { return read(item); });
}

}  // namespace qz::ext
