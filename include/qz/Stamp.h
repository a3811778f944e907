// SPDX-License-Identifier: MIT
#pragma once

#include <memory>

#include <qz/qzExport.h>

namespace qz {

/// A number of a sequence: later stamps of one generator are greater.
class Stamp {
public:
    /// Makes a stamp with a number. There is no implicit conversion from numbers.
    explicit Stamp(unsigned long value) : mValue(value) {}
    /// The number.
    unsigned long getValue() const { return mValue; }

    /// Compares the numbers.
    bool operator==(const Stamp& other) const { return mValue == other.mValue; }
    /// Compares the numbers.
    bool operator!=(const Stamp& other) const { return mValue != other.mValue; }
    /// Compares the numbers.
    bool operator<(const Stamp& other) const { return mValue < other.mValue; }
    /// Compares the numbers.
    bool operator<=(const Stamp& other) const { return mValue <= other.mValue; }
    /// Compares the numbers.
    bool operator>(const Stamp& other) const { return mValue > other.mValue; }
    /// Compares the numbers.
    bool operator>=(const Stamp& other) const { return mValue >= other.mValue; }

private:
    unsigned long mValue;
};

/// Generates stamps, each greater by 1 than the one before. Threads: any.
class QZ_API StampGenerator {
public:
    /// Makes a generator whose first stamp is 1.
    StampGenerator();
    virtual ~StampGenerator();
    StampGenerator(const StampGenerator&) = delete;
    StampGenerator& operator=(const StampGenerator&) = delete;

    /// Returns the next stamp. No two calls of one generator return the same.
    Stamp generateStamp();

private:
    std::unique_ptr<unsigned long> mNext;  // read and incremented in one atomic step
};

}  // namespace qz
