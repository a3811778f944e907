// SPDX-License-Identifier: MIT
#pragma once

/// @file
/// The paths of these rows, and classes that measure a contender in them. A contender is a class
/// with a type `Text`, in which it takes paths, static functions for what it can do, and
/// `toString`, which copies a result. Texts are made before the timing, so that nobody pays for a
/// conversion from UTF-8 that a program of that library would not make.

#include <cstddef>
#include <string>
#include <vector>

#include "../support.h"

namespace bench {

/// A real path of this machine in the forms that the rows take.
struct PathForms {
    std::string path;       ///< Absolute. Every third has something that can be simplified.
    std::string simple;     ///< The same, simplified.
    std::string folder;     ///< The path before the file name.
    std::string fileName;   ///< The last component.
    std::string extension;  ///< After the last dot of the file name; empty for none.
    std::string relative;   ///< From `kRoot`; every third can be simplified.
    std::string missing;    ///< The same from there; every second with a tail that doesn't exist.
    std::string resolved;   ///< `missing`, absolute and without links.
};

/// The folder that the relative paths start from; the current one while they are resolved.
extern const std::string kRoot;

/// All paths, the same at each call: 1,000, or fewer with --tiny.
const std::vector<PathForms>& getPathForms();

/// Measures `Contender::call` over all paths. `Row` names the row and tells which forms are the
/// arguments and what the result is to be.
template <typename Row, typename Contender>
class PathRow {
public:
    explicit PathRow(const char* name)
        : mCheck(Row::kName, isRight), mCase(Row::kName, name, measure)
    {
    }

private:
    using Arguments = typename Row::template Arguments<Contender>;

    static bool isRight()
    {
        Row::prepare();
        for (const PathForms& forms : getPathForms()) {
            if (!isSameText(Contender::toString(Row::template call<Contender>(Arguments(forms))),
                            Row::getExpected(forms))) {
                return false;
            }
        }
        return true;
    }
    static void measure(benchmark::State& state)
    {
        Row::prepare();
        std::vector<Arguments> all;
        for (const PathForms& forms : getPathForms())
            all.emplace_back(forms);
        for (auto _ : state) {
            for (const Arguments& arguments : all) {
                const auto result = Row::template call<Contender>(arguments);
                keep(result);
            }
        }
        state.SetItemsProcessed(state.iterations() * static_cast<std::int64_t>(all.size()));
    }

    Check mCheck;
    Case mCase;
};

/// Arguments of a row: one form, or two.
template <typename Contender, std::string PathForms::*Form>
struct OnePath {
    explicit OnePath(const PathForms& forms) : path(Contender::makeText(forms.*Form)) {}
    typename Contender::Text path;
};

template <typename Contender>
struct FolderAndName {
    explicit FolderAndName(const PathForms& forms)
        : folder(Contender::makeText(forms.folder)), fileName(Contender::makeText(forms.fileName))
    {
    }
    typename Contender::Text folder;
    typename Contender::Text fileName;
};

struct SimplifyRow {
    static constexpr const char* kName = "simplify";
    template <typename Contender>
    using Arguments = OnePath<Contender, &PathForms::path>;
    static void prepare() {}
    static const std::string& getExpected(const PathForms& forms) { return forms.simple; }
    template <typename Contender>
    static auto call(const Arguments<Contender>& arguments)
    {
        return Contender::simplify(arguments.path);
    }
};

struct JoinRow {
    static constexpr const char* kName = "join";
    template <typename Contender>
    using Arguments = FolderAndName<Contender>;
    static void prepare() {}
    static const std::string& getExpected(const PathForms& forms) { return forms.simple; }
    template <typename Contender>
    static auto call(const Arguments<Contender>& arguments)
    {
        return Contender::join(arguments.folder, arguments.fileName);
    }
};

struct ExtensionRow {
    static constexpr const char* kName = "extension";
    template <typename Contender>
    using Arguments = OnePath<Contender, &PathForms::simple>;
    static void prepare() {}
    static const std::string& getExpected(const PathForms& forms) { return forms.extension; }
    template <typename Contender>
    static auto call(const Arguments<Contender>& arguments)
    {
        return Contender::getExtension(arguments.path);
    }
};

/// The result is a pair, which `toString` makes one text with a blank.
struct SplitRow {
    static constexpr const char* kName = "split folder and name";
    template <typename Contender>
    using Arguments = OnePath<Contender, &PathForms::simple>;
    static void prepare() {}
    static std::string getExpected(const PathForms& forms)
    {
        return forms.folder + ' ' + forms.fileName;
    }
    template <typename Contender>
    static auto call(const Arguments<Contender>& arguments)
    {
        return Contender::split(arguments.path);
    }
};

struct AbsoluteRow {
    static constexpr const char* kName = "absolute, base given";
    template <typename Contender>
    using Arguments = OnePath<Contender, &PathForms::relative>;
    static void prepare() {}
    static const std::string& getExpected(const PathForms& forms) { return forms.simple; }
    template <typename Contender>
    static auto call(const Arguments<Contender>& arguments)
    {
        static const typename Contender::Text root = Contender::makeText(kRoot);
        return Contender::makeAbsolute(arguments.path, root);
    }
};

/// From the current folder, with links resolved as far as the path exists.
struct ResolveRow {
    static constexpr const char* kName = "absolute, current folder";
    template <typename Contender>
    using Arguments = OnePath<Contender, &PathForms::missing>;
    static void prepare();
    static const std::string& getExpected(const PathForms& forms) { return forms.resolved; }
    template <typename Contender>
    static auto call(const Arguments<Contender>& arguments)
    {
        return Contender::resolve(arguments.path);
    }
};

}  // namespace bench
