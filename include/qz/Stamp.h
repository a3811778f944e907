#pragma once

#include <memory>

#include <qz/qzExport.h>

namespace qz {

/// A number that tells one state of a thing from another.
class Stamp {
public:
    /// Makes a stamp of a number.
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

/// Gives out stamps that rise by 1. Threads: any.
class QZ_API StampGenerator {
public:
    /// Makes a generator whose first stamp is 1.
    StampGenerator();
    virtual ~StampGenerator();
    StampGenerator(const StampGenerator&) = delete;
    StampGenerator& operator=(const StampGenerator&) = delete;

    /// Gives the next stamp. No two calls on one generator give the same.
    Stamp generateStamp();

private:
    std::unique_ptr<unsigned long> mNext;  // taken and raised in one atomic step
};

}  // namespace qz
