// SPDX-License-Identifier: MIT
#pragma once

#include <set>
#include <string>
#include <vector>

#include <qz/qzExport.h>
#include <qz/qzVariant.h>

namespace qz {

namespace impl {
struct CpuLeaves;
}  // namespace impl

/// The process and the machine that it runs on: clocks, identity, memory, processor.
///
/// What can't change is read once, at the start of the library. Threads: every call from any
/// thread, if it doesn't say otherwise.
class QZ_API qzSystemUtils {
public:
    class CPUInfo;
    class DirectXDeviceInfo;

    /// Which memory figure of the process is read.
    enum RamMetric : int {
        RamResident = 0,  ///< Bytes that are in memory now.
        RamReserved = 1,  ///< Not known on Linux: the answer is always 0.
    };

    qzSystemUtils() = delete;

    /// Milliseconds of the monotonic clock, which no change of the wall clock moves; 0 on failure.
    static unsigned long GetTimeBaseMs();
    /// `GetTimeBaseMs` in whole seconds.
    static unsigned long GetTimeBaseSec();
    /// Milliseconds since 1970-01-01 00:00 UTC, from the wall clock.
    static long GetMSecElapsedSinceEpoch();
    /// `GetMSecElapsedSinceEpoch` in whole seconds.
    static long GetSecElapsedSinceEpoch();

    /// The id of the calling process, also in a forked child. A child that shares the memory of its
    /// parent, as that of `vfork` does, reads the id of the parent.
    static long GetCurrentProcessID();
    /// The id of the parent process.
    static long GetParentProcessID();

    /// Gives the arguments that the process was started with.
    ///
    /// The first one is the program's file, whatever the starter passed in its place: its whole
    /// path, without symbolic links, in the process's character set. Only when the file is gone is
    /// it the starter's word. An argument that can't be converted to UTF-8 is empty, as all but the
    /// first are before the library's start. A process that overwrote its arguments gets what it
    /// wrote.
    /// @param arguments receives them, in UTF-8, in place of what it held. It is empty when nothing
    ///     could be found out, which is reported to the log as critical.
    static void ExtractCommandLineUtf8(std::vector<std::string>& arguments);

    /// Writes a point in time as text, in UTF-8; while the text services are stopped, in the
    /// process's character set.
    ///
    /// The C library holds a lock while it reads the time zone. A child that was forked while
    /// another thread of the parent was in a time function of the C library may wait for it for
    /// ever.
    /// @param seconds seconds since 1970-01-01 00:00 UTC; negative ones lie before it.
    /// @param format the format of `strftime`, in the process's character set; null gives "".
    /// @param localTime true for the zone of the process, false for UTC.
    /// @return the text; empty when it has more than 128 bytes, when the year can't be
    ///     represented, or when the text can't be converted to UTF-8.
    static std::string ConvertSecElapsedSinceEpochToString(long seconds, const char* format,
                                                           bool localTime);
    /// Writes the present time as `ConvertSecElapsedSinceEpochToString` does.
    /// @param localTime as above.
    static std::string GetCurrentTimeAsString(const char* format, bool localTime);
    /// Writes the present time in the form 2026-11-14T20:17:56+0000.
    /// @param localTime as above.
    static std::string GetCurrentDateTimeISO(bool localTime);

    /// Bytes of memory that the process uses now; 0 if the system does not report it.
    static unsigned long GetUsedRamQuantityInBytes(RamMetric metric);

    // The calls from here to `GetThirdPartyLibVersionInfo` read what the start has found out. They
    // must not be used before a start or after the last stop: there is nothing to read then.

    /// How many processors were online at the start; at least 1. The process may be limited to
    /// fewer.
    static unsigned int GetIdealThreadCount();
    /// Bytes of memory that the machine has; 0 if the system does not report it.
    static unsigned long GetRamQuantityInBytes();
    /// The processor.
    static const CPUInfo& GetCPUInfo();
    /// Name, release and version of the kernel, each with a blank after it; "Unknown OS" if the
    /// system does not report them.
    static const std::string& GetOSInfo();
    /// Always empty on Linux.
    static const std::vector<DirectXDeviceInfo>& GetDirectXDevices();
    /// An empty map, one for each value of the argument. Other platforms answer here.
    /// Threads: the first call while no other thread calls it.
    static qzVariant::qzVariantMapImpl& GetWmicInfo(bool second);
    /// The versions of the libraries that have registered, by name.
    /// Threads: no lock guards the map.
    static qzVariant::qzVariantMapImpl& GetThirdPartyLibVersionInfo();

    /// The null variant: there is no registry on Linux.
    static qzVariant GetRegistryValue(const std::string& root, const std::string& path,
                                      const std::string& name);
    /// The name of this computer, as the system has it; empty on failure.
    static std::string GetLocalComputerName();
    /// The name of the user who is logged in at the terminal, in UTF-8. It is empty without a
    /// terminal, and for names of eight bytes or more.
    static std::string GetCurrentUserNameUtf8();

    /// The file of this program with its whole path, as `ExtractCommandLineUtf8` has it.
    static std::string GetProgramFullPath();
    /// The folder of this program's file.
    static std::string GetProgramFolder();
    /// The name of this program's file.
    static std::string GetProgramName();

    /// Describes the machine: the keys "CPU", "RAM", "LogicalCore", "OS", "DirectX Devices" and
    /// "thirdparty" are set in the map, and others stay.
    /// @param report receives the description.
    /// @param detailed has no effect on Linux.
    static void GenerateHardwareReport(qzVariant::qzVariantMapImpl& report, bool detailed);

    /// Reads what can't change. For the start of the library; a second call changes nothing.
    static void InitializeSystemUtils();
    /// Forgets it. For the stop of the library.
    static void TerminateSystemUtils();
};

/// What the processor reports about itself.
class QZ_API qzSystemUtils::CPUInfo {
public:
    /// A group of instructions; the names are those of `InstructionSetToString`, with "_" for ".".
    enum InstructionSet : int {
        InstructionSetUnknown = 0,
        InstructionSetBMI1 = 1,
        InstructionSetBMI2 = 2,
        InstructionSetABM = 3,
        InstructionSetTBM = 4,
        InstructionSetPOPCNT = 5,
        InstructionSetLZCNT = 6,
        InstructionSetRDRAND = 7,
        InstructionSetRDSEED = 8,
        InstructionSetMMX = 9,
        InstructionSetSSE = 10,
        InstructionSetSSE2 = 11,
        InstructionSetSSE3 = 12,
        InstructionSetSSSE3 = 13,
        InstructionSetSSE4_1 = 14,
        InstructionSetSSE4_2 = 15,
        InstructionSetSSE4a = 16,
        InstructionSetXOP = 17,
        InstructionSetF16C = 18,
        InstructionSetAVX = 19,
        InstructionSetAVX2 = 20,
        InstructionSetFMA3 = 21,
        InstructionSetAVX512F = 22,
        InstructionSetAVX512PF = 23,
        InstructionSetAVX512ER = 24,
        InstructionSetAVX512CD = 25,
        InstructionSetAES = 26,
        InstructionSetSHA = 27,
    };

    /// Reads the processor that it runs on.
    CPUInfo();
    ~CPUInfo();
    /// Copies the description.
    CPUInfo(const CPUInfo&) = default;
    /// Copies the description.
    CPUInfo& operator=(const CPUInfo&) = default;

    /// Empties the names and both sets; the two flags stay.
    void clearCPUInfos();

    /// Whether programs may use a set: the processor has it, and the system supports it.
    bool isInstructionSetAvailable(InstructionSet set) const;
    /// Whether the processor reports that it runs under a hypervisor.
    bool isRunningOnVirtualMachine() const;

    /// The usual name of a set; "Unknown" for 0, and "Unknown enum" for a value without a name.
    static std::string InstructionSetToString(InstructionSet set);

    /// The description as a map: "vendor", "brand", "ishypervisor", "ishyperthreaded", and the
    /// sorted lists "instructionsets" and "disabledinstructionsets".
    qzVariant::qzVariantMapImpl toVariantMap() const;

private:
    friend class CpuInfoTestPeer;

    QZ_LOCAL explicit CPUInfo(const impl::CpuLeaves& leaves);

    std::string mVendor;  // as the processor names itself, for example "GenuineIntel"
    std::string mBrand;   // the long name
    std::set<InstructionSet> mEnabledSets;
    std::set<InstructionSet> mDisabledSets;  // the processor has them, the system doesn't
    bool mIsHypervisor = false;
    bool mIsHyperThreaded = false;  // several logical processors in a package
};

/// A display device. Nothing makes one on Linux; it is here for programs that serve several
/// platforms.
class QZ_API qzSystemUtils::DirectXDeviceInfo {
public:
    /// Makes a device without a description and with no memory.
    DirectXDeviceInfo();

    std::string description;                  ///< Its name.
    unsigned long dedicatedVideoMemory = 0;   ///< Bytes.
    unsigned long dedicatedSystemMemory = 0;  ///< Bytes.
    unsigned long sharedSystemMemory = 0;     ///< Bytes.

    /// The description as a map, with the sizes as people read them; empty texts for zero.
    qzVariant::qzVariantMapImpl toVariantMap() const;
};

/// The name of the main disk; always empty on Linux.
QZ_API std::string getMainHDDDevice();

namespace impl {

/// Records the version of a library that is built on this one, for the hardware report. Such a
/// library calls it after the start. A second call with the same name replaces the version.
/// Threads: while no other thread reads or changes the versions.
/// @param version null is recorded as "n/a".
/// @throws std::logic_error for a null name.
QZ_API void RegisterThirdPartyLibVersionInfo(const char* name, const char* version);
/// Forgets a library; one that isn't recorded is ignored.
/// @throws std::logic_error for a null name.
QZ_API void UnRegisterThirdPartyLibVersionInfo(const char* name);

}  // namespace impl

}  // namespace qz
