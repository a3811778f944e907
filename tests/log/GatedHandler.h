// SPDX-License-Identifier: MIT
#pragma once

#include <condition_variable>
#include <list>
#include <mutex>
#include <string>
#include <vector>

#include <qz/qzLog.h>

namespace qz {

/// A custom handler that notes its batches, and in which the log thread can be held. It is
/// installed for the life of the object.
class GatedHandler {
public:
    GatedHandler() { qzLog::msInstance->installCustomHandler(&GatedHandler::Receive, this); }
    ~GatedHandler()
    {
        release();
        if (qzLog::msInstance != nullptr) qzLog::msInstance->installCustomHandler(nullptr, nullptr);
    }
    GatedHandler(const GatedHandler&) = delete;
    GatedHandler& operator=(const GatedHandler&) = delete;

    /// Holds the log thread after an entry "held", which is out already.
    void hold()
    {
        qzLog::msInstance->flush();  // what makes writers wait is over then
        {
            const std::lock_guard lock(mMutex);
            mIsOpen = false;
        }
        qzLog::LogEntry entry;
        entry.message = "held";
        entry.type = qzLog::Info;
        qzLog::msInstance->Write(entry, /*synchronous=*/false);
        std::unique_lock lock(mMutex);
        mChanged.wait(lock, [this] { return mIsInside; });
    }
    /// Lets the log thread go on to its next batch, and holds it there.
    void holdNext()
    {
        std::unique_lock lock(mMutex);
        const std::size_t count = mBatches.size();
        mMayLeave = true;
        mChanged.notify_all();
        mChanged.wait(lock, [&] { return mBatches.size() > count; });
    }
    /// Lets the log thread go on.
    void release()
    {
        const std::lock_guard lock(mMutex);
        mIsOpen = true;
        mChanged.notify_all();
    }
    bool isHeld() const
    {
        const std::lock_guard lock(mMutex);
        return !mIsOpen;
    }

    /// The messages of each batch, joined by ';'.
    std::vector<std::string> getBatches() const
    {
        const std::lock_guard lock(mMutex);
        return mBatches;
    }
    /// All messages.
    std::vector<std::string> getMessages() const
    {
        const std::lock_guard lock(mMutex);
        return mMessages;
    }
    void clear()
    {
        const std::lock_guard lock(mMutex);
        mBatches.clear();
        mMessages.clear();
    }

private:
    static void Receive(std::list<qzLog::LogEntry>& batch, void* handler)
    {
        static_cast<GatedHandler*>(handler)->receive(batch);
    }

    void receive(const std::list<qzLog::LogEntry>& batch)
    {
        std::unique_lock lock(mMutex);
        std::string joined;
        for (const qzLog::LogEntry& entry : batch) {
            joined += (joined.empty() ? "" : ";") + entry.message;
            mMessages.push_back(entry.message);
        }
        mBatches.push_back(joined);
        mIsInside = true;
        mChanged.notify_all();
        mChanged.wait(lock, [this] { return mIsOpen || mMayLeave; });
        mMayLeave = false;
        mIsInside = false;
    }

    mutable std::mutex mMutex;  // guards all that follows
    std::condition_variable mChanged;
    bool mIsOpen = true;
    bool mIsInside = false;
    bool mMayLeave = false;  // once
    std::vector<std::string> mBatches;
    std::vector<std::string> mMessages;
};

}  // namespace qz
