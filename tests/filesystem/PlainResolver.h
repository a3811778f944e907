// SPDX-License-Identifier: MIT
#pragma once

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <list>
#include <map>
#include <string>

#include <qz/qzXRefResolverSearchPath.h>

namespace qz::plain {

/// The resolver in its plain form: an ordered map that is walked from its start, step after step as
/// callers know it. It is fed with files and knows nothing of a disk.
class Resolver {
public:
    struct Entry {
        std::string fileName;
        std::string reversedFolder;
        bool operator==(const Entry& other) const
        {
            return fileName == other.fileName && reversedFolder == other.reversedFolder;
        }
    };
    using Index = std::map<std::string, std::list<Entry>>;
    using Result = qzXRefResolverSearchPath::tMatchResult;

    explicit Resolver(const std::string& root) : rootWithSlash(root + '/') {}

    static std::string computeKey(const std::string& name)
    {
        const std::string s = clean(name);
        const std::size_t first = s.find('.');
        if (first == std::string::npos) return s;
        const std::string a = s.substr(0, first);
        const std::string rest = s.substr(first + 1);
        const std::size_t second = rest.find('.');
        if (second == std::string::npos) return rest + "." + a;
        return rest.substr(0, second) + "." + a + "." + rest.substr(second + 1);
    }

    /// Adds a file by its path relative to the root.
    void add(const std::string& relative)
    {
        std::string folder;
        std::string name;
        split(relative, folder, name);
        std::reverse(folder.begin(), folder.end());
        index[computeKey(name)].push_back({name, folder});
    }

    /// Takes from an ancestor what is below this root.
    bool derive(const Resolver& ancestor, unsigned long maxFiles)
    {
        if (rootWithSlash.rfind(ancestor.rootWithSlash, 0) != 0) return false;
        std::string sub = rootWithSlash.substr(ancestor.rootWithSlash.size());
        unsigned long count = 0;
        if (sub.empty()) {
            index = ancestor.index;
            for (const auto& [key, list] : index)
                count += list.size();
            return count <= maxFiles;
        }
        sub.erase(sub.size() - 1);
        std::reverse(sub.begin(), sub.end());
        const std::size_t n = sub.size();
        for (const auto& [key, list] : ancestor.index) {
            std::list<Entry> copies;
            for (Entry entry : list) {
                std::string& folder = entry.reversedFolder;
                if (folder.size() < n || folder.substr(folder.size() - n) != sub) continue;
                if (folder.size() > n && folder[folder.size() - n - 1] != '/') continue;
                folder.erase(folder.size() - n);
                if (!folder.empty()) folder.erase(folder.size() - 1);
                if (++count > maxFiles) return false;
                copies.push_back(entry);
            }
            if (!copies.empty()) index[key].swap(copies);
        }
        return true;
    }

    Result resolve(const std::string& xref) const
    {
        std::string folder;
        std::string name;
        split(clean(xref), folder, name);
        std::reverse(folder.begin(), folder.end());
        const std::list<Entry>* const list = find(computeKey(name));
        Result result(qzXRefResolverSearchPath::MatchNotFound);
        if (list == nullptr) return result;
        for (const Entry& entry : *list) {
            const std::string& e = entry.reversedFolder;
            const std::size_t agree = computeAgreement(e, folder);
            if (result.type != qzXRefResolverSearchPath::MatchNotFound &&
                agree <= result.matchLength)
                continue;
            result.matchLength = agree;
            result.type = agree == e.size() ? qzXRefResolverSearchPath::MatchFull
                                            : qzXRefResolverSearchPath::MatchPartial;
            const std::string forward(e.rbegin(), e.rend());
            result.path = rootWithSlash + (e.empty() ? "" : forward + "/") + entry.fileName;
            if (result.type == qzXRefResolverSearchPath::MatchFull) break;
        }
        return result;
    }

    /// The agreement, said once more in whole names and with their folders the right way round.
    static std::size_t computeAgreement(const std::string& e, const std::string& x)
    {
        std::size_t common = 0;
        while (common < e.size() && common < x.size() && e[common] == x[common])
            ++common;
        const bool isEntryUsedUp = common == e.size();
        const bool isXrefUsedUp = common == x.size();
        if (isEntryUsedUp && (isXrefUsedUp || x[common] == '/')) return e.size();
        if (isXrefUsedUp && !isEntryUsedUp) return x.size();
        const std::size_t slash = e.substr(0, common).rfind('/');
        return slash == std::string::npos ? 0 : slash;
    }

    Index index;
    std::string rootWithSlash;

private:
    static std::string clean(std::string path)
    {
        for (char& byte : path)
            if (byte == '\\') byte = '/';
        return path;
    }
    static void split(const std::string& full, std::string& folder, std::string& name)
    {
        const std::size_t slash = full.rfind('/');
        folder = slash == std::string::npos ? "" : full.substr(0, slash);
        name = slash == std::string::npos ? full : full.substr(slash + 1);
    }
    const std::list<Entry>* find(const std::string& key) const
    {
        if (index.count(key) != 0) return &index.at(key);
        const std::string kind = key.substr(0, 3);
        if (kind != "prt" && kind != "asm" && kind != "neu") return nullptr;
        const std::list<Entry>* best = nullptr;
        long bestNumber = 0;
        for (const auto& [indexKey, list] : index) {
            const int order = std::strncmp(key.c_str(), indexKey.c_str(), key.size());
            if (order < 0) break;
            if (order > 0) continue;
            const long number = indexKey.size() > key.size() + 1
                                    ? std::strtol(indexKey.c_str() + key.size() + 1, nullptr, 10)
                                    : 0;
            if (best != nullptr && number <= bestNumber) continue;
            best = &list;
            bestNumber = number;
        }
        return best;
    }
};

}  // namespace qz::plain
