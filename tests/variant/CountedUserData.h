// SPDX-License-Identifier: MIT
#pragma once

#include <qz/qzVariant.h>

namespace qz {

/// A caller's object that counts the objects of its class, and the calls of their functions.
class CountedUserData : public qzVariant::UserDataInterface {
public:
    explicit CountedUserData(int value) : mValue(value) { ++sAlive; }
    CountedUserData(const CountedUserData& other) : UserDataInterface(other), mValue(other.mValue)
    {
        ++sAlive;
    }
    CountedUserData& operator=(const CountedUserData&) = delete;
    ~CountedUserData() override { --sAlive; }

    UserDataInterface* clone() const override
    {
        ++sClones;
        return new CountedUserData(*this);
    }
    bool isEqual(const UserDataInterface* other) const override
    {
        ++sComparisons;
        const auto* const counted = dynamic_cast<const CountedUserData*>(other);
        return counted != nullptr && counted->mValue == mValue;
    }

    int getValue() const { return mValue; }

    /// Sets the counts of clones and comparisons to 0.
    static void ResetCounts()
    {
        sClones = 0;
        sComparisons = 0;
    }

    static inline int sAlive = 0;
    static inline int sClones = 0;
    static inline int sComparisons = 0;

private:
    int mValue;
};

}  // namespace qz
