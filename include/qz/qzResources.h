#pragma once

#include <string>

#include <qz/qzExport.h>

/// Data that programs and libraries carry in their own read-only memory, found by name.
///
/// The registry holds pointers only: the data stays where its module has it, and a module takes its
/// names back before it unloads. Missing names and conflicts are reported in the log, the conflicts
/// while the registry is locked: a custom handler of the log that hears of one asks for no
/// resource.
///
/// Threads: any after a full start; one after a light start.
namespace qz::rc {

/// Looks a resource up.
/// @param name must not be null; a null raises `std::logic_error`.
/// @param data receives the module's own memory, good as long as the module is registered; null
///     when there is no such resource.
/// @param size receives the size in bytes, or 0.
/// @return false when there is no such resource.
QZ_API bool GetResource(const char* name, const char*& data, unsigned long& size);
/// Copies a resource.
/// @param out receives the content; empty when there is no such resource.
/// @return false when there is no such resource.
QZ_API bool GetResource(const char* name, std::string& out);

/// Gives the SHA-256 digest of a resource as 64 hexadecimal digits.
/// @param digest receives the module's own text, which need not end in a zero; null when there is
///     no such resource.
/// @param size receives 64, or 0.
/// @return false when there is no such resource.
QZ_API bool GetResourceSha256Hex(const char* name, const char*& digest, unsigned long& size);
/// Copies the digest of a resource.
/// @param out receives the 64 digits; empty when there is no such resource.
/// @return false when there is no such resource.
QZ_API bool GetResourceSha256Hex(const char* name, std::string& out);

namespace impl {

/// Registers resources: number i has the name `names[i]`, the digest `digests[i]` of 64 digits, and
/// `sizes[i]` bytes at `blob + offsets[i]`. A name that is taken stays with its first owner. All
/// that the arrays point at must live until the names are taken back; the arrays themselves
/// needn't.
QZ_API void RegisterResources(unsigned long count, const char* blob, const char* const* names,
                              const char* const* digests, const unsigned long* sizes,
                              const unsigned long* offsets);
/// Takes names back. The arguments behind `names` are not looked at.
QZ_API void UnRegisterResources(unsigned long count, const char* blob, const char* const* names,
                                const char* const* digests, const unsigned long* sizes,
                                const unsigned long* offsets);

/// The resources of a module, registered for as long as the object lives: by each start of the
/// library, or at once when it is up. Made for objects with static storage in generated code, so
/// the arrays must live as long as the object.
/// Threads: construction and destruction belong to loading and unloading, which the system's loader
/// keeps apart.
class QZ_API Module {
public:
    /// The arguments are those of `RegisterResources`.
    Module(unsigned long count, const char* blob, const char* const* names,
           const char* const* digests, const unsigned long* sizes, const unsigned long* offsets);
    /// Takes the names back, if the library is up.
    ~Module();
    Module(const Module&) = delete;
    Module& operator=(const Module&) = delete;

    /// Registers the resources. For the start of the library.
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
