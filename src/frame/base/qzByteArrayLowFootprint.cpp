// SPDX-License-Identifier: MIT
#include <qz/qzByteArrayLowFootprint.h>

#include <climits>
#include <cstring>
#include <memory>
#include <new>
#include <utility>

namespace qz {

namespace {

// A block holds the size in 32 bits, the bytes, and a zero byte. A word is its address.

constexpr unsigned long kSizeBytes = sizeof(std::uint32_t);

constexpr char kNoBytes[1] = {'\0'};

char* getBlock(std::uintptr_t word)
{
    return reinterpret_cast<char*>(word);
}

std::uintptr_t makeBlock(unsigned long size)
{
    if (size > ULONG_MAX - kSizeBytes - 1) throw std::bad_alloc();
    auto block = std::make_unique_for_overwrite<char[]>(kSizeBytes + size + 1);
    // More than 4 GiB lose their upper bits here, as the header says.
    const auto storedSize = static_cast<std::uint32_t>(size);
    std::memcpy(block.get(), &storedSize, kSizeBytes);
    block[kSizeBytes + size] = '\0';
    return reinterpret_cast<std::uintptr_t>(block.release());
}

// No block without bytes: 0, which stands for the empty array.
std::uintptr_t copyToBlock(const char* data, unsigned long size)
{
    if (data == nullptr || size == 0) return 0;
    const std::uintptr_t word = makeBlock(size);
    std::memcpy(getBlock(word) + kSizeBytes, data, size);
    return word;
}

}  // namespace

constinit const qzByteArrayLowFootprint qzByteArrayLowFootprint::sNull(kNull);
constinit const qzByteArrayLowFootprint qzByteArrayLowFootprint::sEmpty;

qzByteArrayLowFootprint::qzByteArrayLowFootprint(const std::string& text)
    : mWord(copyToBlock(text.data(), text.size()))
{
}

qzByteArrayLowFootprint::qzByteArrayLowFootprint(const qzByteArrayLowFootprint& other)
    : mWord(other.empty() ? other.mWord : copyToBlock(other.rawData(), other.size()))
{
}

qzByteArrayLowFootprint::qzByteArrayLowFootprint(qzByteArrayLowFootprint&& other) noexcept
    : mWord(std::exchange(other.mWord, kEmpty))
{
}

qzByteArrayLowFootprint& qzByteArrayLowFootprint::operator=(const qzByteArrayLowFootprint& other)
{
    if (this != &other) qzByteArrayLowFootprint(other).swap(*this);
    return *this;
}

qzByteArrayLowFootprint& qzByteArrayLowFootprint::operator=(
    qzByteArrayLowFootprint&& other) noexcept
{
    if (this != &other) qzByteArrayLowFootprint(std::move(other)).swap(*this);
    return *this;
}

qzByteArrayLowFootprint::~qzByteArrayLowFootprint()
{
    if (!empty()) delete[] getBlock(mWord);
}

void qzByteArrayLowFootprint::setData(const char* data, unsigned long size)
{
    qzByteArrayLowFootprint(copyToBlock(data, size)).swap(*this);
}

void qzByteArrayLowFootprint::clear()
{
    qzByteArrayLowFootprint(kEmpty).swap(*this);
}

void qzByteArrayLowFootprint::setToNull()
{
    qzByteArrayLowFootprint(kNull).swap(*this);
}

void qzByteArrayLowFootprint::resizeAndClear(unsigned long newSize, char fill)
{
    if (newSize != size()) {
        qzByteArrayLowFootprint(newSize == 0 ? kEmpty : makeBlock(newSize)).swap(*this);
    }
    if (newSize != 0) std::memset(editRawData(), fill, newSize);
}

void qzByteArrayLowFootprint::swap(qzByteArrayLowFootprint& other) noexcept
{
    std::swap(mWord, other.mWord);
}

unsigned long qzByteArrayLowFootprint::size() const
{
    if (empty()) return 0;
    std::uint32_t stored = 0;
    std::memcpy(&stored, getBlock(mWord), kSizeBytes);
    return stored;
}

bool qzByteArrayLowFootprint::empty() const
{
    return mWord == kEmpty || mWord == kNull;
}

bool qzByteArrayLowFootprint::isEmpty() const
{
    return empty();
}

bool qzByteArrayLowFootprint::isNull() const
{
    return mWord == kNull;
}

char* qzByteArrayLowFootprint::editRawData()
{
    return empty() ? nullptr : getBlock(mWord) + kSizeBytes;
}

const char* qzByteArrayLowFootprint::rawData() const
{
    return empty() ? kNoBytes : getBlock(mWord) + kSizeBytes;
}

const char* qzByteArrayLowFootprint::constRawData() const
{
    return rawData();
}

std::string_view qzByteArrayLowFootprint::toStringView() const
{
    return {rawData(), size()};
}

void qzByteArrayLowFootprint::toByteVector(std::vector<char>& out) const
{
    const std::string_view bytes = toStringView();
    out.assign(bytes.begin(), bytes.end());
}

bool qzByteArrayLowFootprint::operator<(const qzByteArrayLowFootprint& other) const
{
    if (isNull()) return !other.isNull();
    if (other.isNull()) return false;
    if (empty()) return !other.empty();
    if (other.empty()) return false;
    const unsigned long ownSize = size();
    const unsigned long otherSize = other.size();
    if (ownSize != otherSize) return ownSize < otherSize;
    return std::memcmp(rawData(), other.rawData(), ownSize) < 0;
}

bool qzByteArrayLowFootprint::operator<=(const qzByteArrayLowFootprint& other) const
{
    return *this < other || other == *this;
}

bool qzByteArrayLowFootprint::operator>(const qzByteArrayLowFootprint& other) const
{
    return !(*this <= other);
}

bool qzByteArrayLowFootprint::operator>=(const qzByteArrayLowFootprint& other) const
{
    return !(*this < other);
}

bool qzByteArrayLowFootprint::operator==(const qzByteArrayLowFootprint& other) const
{
    if (empty() || other.empty()) return mWord == other.mWord;
    return toStringView() == other.toStringView();
}

bool qzByteArrayLowFootprint::operator!=(const qzByteArrayLowFootprint& other) const
{
    return !(*this == other);
}

}  // namespace qz
