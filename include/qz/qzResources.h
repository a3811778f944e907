// SPDX-License-Identifier: MIT
#pragma once

#include <string>

#include <qz/qzExport.h>

/// Data that programs and libraries contain in their own read-only memory, found by name.
///
/// The registry holds pointers only, so a module must unregister its names before it is unloaded.
/// Missing names and conflicts are reported in the log. A custom handler of the log may look up
/// resources.
///
/// @code
/// std::string page;
/// if (qz::rc::GetResource("help/index.html", page)) show(page);
/// @endcode
///
/// Threads: any after a full start; one after a light start.
namespace qz::rc {

/// Looks up a resource.
/// @param name must not be null; null throws `std::logic_error`.
/// @param data receives the address of the module's own memory, which is valid as long as the
///     module is registered; null if there is no such resource.
/// @param size receives the size in bytes, or 0.
/// @return false if there is no such resource.
QZ_API bool GetResource(const char* name, const char*& data, unsigned long& size);
/// Copies a resource.
/// @param name as above; it must not be in `out`, which is emptied first.
/// @param out receives the content; empty if there is no such resource.
/// @return false if there is no such resource.
QZ_API bool GetResource(const char* name, std::string& out);

/// Looks up the SHA-256 digest of a resource as 64 hexadecimal digits.
/// @param digest receives the address of the module's own text, which need not end in a zero byte;
///     null if there is no such resource.
/// @param size receives 64, or 0.
/// @return false if there is no such resource.
QZ_API bool GetResourceSha256Hex(const char* name, const char*& digest, unsigned long& size);
/// Copies the digest of a resource.
/// @param name as above; it must not be in `out`, which is emptied first.
/// @param out receives the 64 digits; empty if there is no such resource.
/// @return false if there is no such resource.
QZ_API bool GetResourceSha256Hex(const char* name, std::string& out);

/// For the code that `qz_add_resources` generates.
namespace impl {

/// Registers resources: number i has the name `names[i]`, the digest `digests[i]` of 64 digits, and
/// `sizes[i]` bytes at `blob + offsets[i]`. A name that is already registered keeps its old data,
/// and the conflict is reported, in order, after the mutex of the registry is unlocked. Everything
/// that the arrays point to must live until the names are unregistered; the arrays themselves may
/// be temporary.
///
/// A null name throws `std::logic_error`; the names before it stay registered. While the library is
/// not started, nothing is registered and each name is reported, a null one as "[NullPtr]".
QZ_API void RegisterResources(unsigned long count, const char* blob, const char* const* names,
                              const char* const* digests, const unsigned long* sizes,
                              const unsigned long* offsets);
/// Unregisters names; a missing one is reported, and all are missing while the library is not
/// started. A null name throws `std::logic_error`. The arguments after `names` are ignored.
QZ_API void UnRegisterResources(unsigned long count, const char* blob, const char* const* names,
                                const char* const* digests, const unsigned long* sizes,
                                const unsigned long* offsets);

/// The resources of a module, registered during the lifetime of the object: by each start of the
/// library, or at once if the library is started. Intended for static objects in generated code.
/// The arrays must live as long as the object. Threads: construct and destroy it while the module
/// is loaded and unloaded, which the system's loader serialises.
class QZ_API Module {
public:
    /// The arguments are those of `RegisterResources`.
    Module(unsigned long count, const char* blob, const char* const* names,
           const char* const* digests, const unsigned long* sizes, const unsigned long* offsets);
    /// Unregisters the names, if the library is started.
    ~Module();
    Module(const Module&) = delete;
    Module& operator=(const Module&) = delete;

    /// Registers the resources. Called by the start of the library.
    void registerAll() const;

private:
    unsigned long mCount;
    const char* mBlob;
    const char* const* mNames;
    const char* const* mDigests;
    const unsigned long* mSizes;
    const unsigned long* mOffsets;
};

}  // namespace impl

}  // namespace qz::rc
