// SPDX-License-Identifier: MIT
#include "XRefIndex.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <new>
#include <numeric>

namespace qz::filesystem {

namespace {

// The number after the first `nameSize` bytes and the byte that separates them; 0 if there is none.
// A key of the pool has a zero byte at its end.
long readVersion(std::string_view key, std::size_t nameSize)
{
    return key.size() > nameSize ? std::strtol(key.data() + nameSize + 1, nullptr, 10) : 0;
}

}  // namespace

bool XRefIndex::HasVersions(std::string_view key)
{
    const std::string_view kind = key.substr(0, 3);
    return kind == "prt" || kind == "asm" || kind == "neu";
}

std::size_t XRefIndex::countFiles() const
{
    std::size_t count = 0;
    for (const List& list : mLists) {
        for (const File* file = getFile(list.first); file != nullptr; file = getNext(*file))
            ++count;
    }
    return count;
}

void XRefIndex::add(std::string_view key, std::string_view reversedFolder)
{
    add(key, mFolders.add(reversedFolder));
}

void XRefIndex::add(std::string_view key, Id folder)
{
    // What may throw comes first: an unused list and a free file do no harm.
    if (mLists.size() == mKeys.size()) mLists.emplace_back();
    if (mFree == kNone) mFree = makeFile();
    List& list = mLists[mKeys.add(key)];
    const Id added = mFree;
    mFree = mFiles[added].next;
    mFiles[added] = {folder, kNone};
    (list.last == kNone ? list.first : mFiles[list.last].next) = added;
    list.last = added;
}

XRefIndex::Id XRefIndex::makeFile()
{
    if (mFiles.size() == kNone) throw std::bad_alloc();  // no number is left
    mFiles.emplace_back();
    return static_cast<Id>(mFiles.size() - 1);
}

void XRefIndex::removeFiles(std::string_view key)
{
    const Id known = mKeys.find(key);
    if (known == kNone || mLists[known].last == kNone) return;
    mFiles[mLists[known].last].next = mFree;
    mFree = mLists[known].first;
    mLists[known] = List();
}

bool XRefIndex::operator==(const XRefIndex& other) const
{
    if (getKeyCount() != other.getKeyCount()) return false;
    for (Id key = 0; key != getKeyCount(); ++key) {
        const Id otherKey = other.find(getKey(key));
        if (otherKey == kNone || !hasEqualFiles(key, other, otherKey)) return false;
    }
    return true;
}

bool XRefIndex::hasEqualFiles(Id key, const XRefIndex& other, Id otherKey) const
{
    const File* file = getFirst(key);
    const File* otherFile = other.getFirst(otherKey);
    for (; file != nullptr && otherFile != nullptr;
         file = getNext(*file), otherFile = other.getNext(*otherFile)) {
        if (getReversedFolder(file->folder) != other.getReversedFolder(otherFile->folder))
            return false;
    }
    return file == nullptr && otherFile == nullptr;
}

// --- The order of the keys

void XRefIndex::sortByKey(std::vector<Id>& keys) const
{
    std::sort(keys.begin(), keys.end(),
              [this](Id left, Id right) { return getKey(left) < getKey(right); });
}

std::vector<XRefIndex::Id> XRefIndex::makeOrderOfKeys() const
{
    std::vector<Id> keys(getKeyCount());
    std::iota(keys.begin(), keys.end(), Id(0));
    sortByKey(keys);
    return keys;
}

std::vector<XRefIndex::Id> XRefIndex::makeOrderOfVersions() const
{
    std::vector<Id> keys;
    for (Id key = 0; key != getKeyCount(); ++key) {
        if (HasVersions(getKey(key))) keys.push_back(key);
    }
    sortByKey(keys);
    return keys;
}

void XRefIndex::finishBuild()
{
    mVersions = makeOrderOfVersions();
    mSortedKeyCount = getKeyCount();
    mKeys.shrink();
    mFolders.shrink();
    mLists.shrink_to_fit();
    mFiles.shrink_to_fit();
    mVersions.shrink_to_fit();
}

// Keys that begin with this one follow each other. A zero byte ends a key here.
XRefIndex::Id XRefIndex::findLastVersion(const std::string& key) const
{
    // A build that ended with an exception has left keys without an order.
    const bool isSorted = mSortedKeyCount == getKeyCount();
    const std::vector<Id> ownOrder = isSorted ? std::vector<Id>() : makeOrderOfVersions();
    const std::vector<Id>& order = isSorted ? mVersions : ownOrder;
    const auto isBefore = [this](Id known, const char* text) { return getKey(known) < text; };
    Id last = kNone;
    long lastVersion = 0;
    auto it = std::lower_bound(order.begin(), order.end(), key.c_str(), isBefore);
    for (; it != order.end(); ++it) {
        const std::string_view candidate = getKey(*it);
        if (std::strncmp(key.c_str(), candidate.data(), key.size()) != 0) break;
        const long version = readVersion(candidate, key.size());
        if (last != kNone && version <= lastVersion) continue;
        last = *it;
        lastVersion = version;
    }
    return last;
}

}  // namespace qz::filesystem
