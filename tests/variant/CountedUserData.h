#pragma once

#include <qz/qzVariant.h>

namespace qz {

/// An object of a caller's that tells how many of its kind exist and what is asked of them.
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
        ++sQuestions;
        const auto* const counted = dynamic_cast<const CountedUserData*>(other);
        return counted != nullptr && counted->mValue == mValue;
    }

    int getValue() const { return mValue; }

    /// Sets the counts of clones and questions to 0.
    static void ResetCounts()
    {
        sClones = 0;
        sQuestions = 0;
    }

    static inline int sAlive = 0;
    static inline int sClones = 0;
    static inline int sQuestions = 0;

private:
    int mValue;
};

}  // namespace qz
