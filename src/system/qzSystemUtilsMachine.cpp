// SPDX-License-Identifier: MIT
#include <algorithm>
#include <memory>
#include <stdexcept>
#include <utility>

#include <sys/utsname.h>
#include <unistd.h>

#include <qz/qzDirUtils.h>
#include <qz/qzSystemUtils.h>

#include "HumanizedBytes.h"
#include "SystemInformation.h"
#include "text/LocalPath.h"

namespace qz {

// A plain pointer: what the start makes, only the stop destroys.
SystemInformation* gSystemInformation = nullptr;

namespace {

constexpr std::size_t kComputerNameSize = 2049;
constexpr std::size_t kUserNameBuffer = 2048;
// Compatibility: a name of eight bytes or more isn't found.
constexpr std::size_t kUserNameLimit = 8;

// A number that the system does not report counts as 0.
unsigned long getSystemNumber(int name)
{
    return static_cast<unsigned long>(std::max(::sysconf(name), 0L));
}

std::string describeSystem()
{
    utsname system = {};
    if (::uname(&system) != 0) return "Unknown OS";
    std::string text;
    for (const char* const field : {system.sysname, system.release, system.version}) {
        if (*field != '\0') text.append(field) += ' ';
    }
    return text;
}

std::string describeMemory(unsigned long bytes, const char* kind)
{
    return bytes != 0 ? humanizeBytes(bytes) + " of " + kind : std::string();
}

std::string requireName(const char* name)
{
    if (name == nullptr) throw std::logic_error("a library needs a name");
    return name;
}

}  // namespace

// --- The block -------------------------------------------------------------------------------

void qzSystemUtils::InitializeSystemUtils()
{
    if (gSystemInformation != nullptr) return;
    auto made = std::make_unique<SystemInformation>();
    made->idealThreadCount =
        std::max(static_cast<unsigned int>(getSystemNumber(_SC_NPROCESSORS_ONLN)), 1U);
    made->ramBytes = getSystemNumber(_SC_PHYS_PAGES) * getSystemNumber(_SC_PAGESIZE);
    made->osText = describeSystem();
    gSystemInformation = made.release();
}

void qzSystemUtils::TerminateSystemUtils()
{
    const std::unique_ptr<SystemInformation> ended(std::exchange(gSystemInformation, nullptr));
}

unsigned int qzSystemUtils::GetIdealThreadCount()
{
    return gSystemInformation->idealThreadCount;
}

unsigned long qzSystemUtils::GetRamQuantityInBytes()
{
    return gSystemInformation->ramBytes;
}

const qzSystemUtils::CPUInfo& qzSystemUtils::GetCPUInfo()
{
    return gSystemInformation->cpu;
}

const std::string& qzSystemUtils::GetOSInfo()
{
    return gSystemInformation->osText;
}

const std::vector<qzSystemUtils::DirectXDeviceInfo>& qzSystemUtils::GetDirectXDevices()
{
    return gSystemInformation->displayDevices;
}

qzVariant::qzVariantMapImpl& qzSystemUtils::GetWmicInfo(bool second)
{
    auto& results = gSystemInformation->queryResults;
    if (!gSystemInformation->isQueryDone) {
        results[0].clear();
        results[1].clear();
        gSystemInformation->isQueryDone = true;
    }
    return results[second ? 1 : 0];
}

qzVariant::qzVariantMapImpl& qzSystemUtils::GetThirdPartyLibVersionInfo()
{
    return gSystemInformation->libraryVersions;
}

void impl::RegisterThirdPartyLibVersionInfo(const char* name, const char* version)
{
    gSystemInformation->libraryVersions[requireName(name)] = version != nullptr ? version : "n/a";
}

void impl::UnRegisterThirdPartyLibVersionInfo(const char* name)
{
    gSystemInformation->libraryVersions.erase(requireName(name));
}

// --- The machine and its user ----------------------------------------------------------------

qzVariant qzSystemUtils::GetRegistryValue(const std::string& /*root*/, const std::string& /*path*/,
                                          const std::string& /*name*/)
{
    return qzVariant::sNullVariant;
}

std::string qzSystemUtils::GetLocalComputerName()
{
    // A name that fills the buffer has no zero byte.
    char name[kComputerNameSize + 1] = {};
    return ::gethostname(name, kComputerNameSize) == 0 ? std::string(name) : std::string();
}

std::string qzSystemUtils::GetCurrentUserNameUtf8()
{
    char name[kUserNameBuffer] = {};
    if (::getlogin_r(name, kUserNameLimit) != 0) return {};
    return text::fromLocal(name);
}

std::string getMainHDDDevice()
{
    return {};
}

// --- The program -----------------------------------------------------------------------------

std::string qzSystemUtils::GetProgramFullPath()
{
    std::vector<std::string> arguments;
    ExtractCommandLineUtf8(arguments);
    return arguments.empty() ? std::string() : arguments.front();
}

std::string qzSystemUtils::GetProgramFolder()
{
    std::string folder;
    std::string name;
    qzDirUtils::SplitFolderFilename(GetProgramFullPath(), folder, name);
    return folder;
}

std::string qzSystemUtils::GetProgramName()
{
    std::string folder;
    std::string name;
    qzDirUtils::SplitFolderFilename(GetProgramFullPath(), folder, name);
    return name;
}

// --- The report ------------------------------------------------------------------------------

qzSystemUtils::DirectXDeviceInfo::DirectXDeviceInfo() = default;

qzVariant::qzVariantMapImpl qzSystemUtils::DirectXDeviceInfo::toVariantMap() const
{
    qzVariant::qzVariantMapImpl map;
    map["description"] = description;
    map["dedicatedmemory"] = describeMemory(dedicatedVideoMemory, "Dedicated Video RAM");
    map["dedicatedsystemmemory"] = describeMemory(dedicatedSystemMemory, "Dedicated System RAM");
    map["sharedsystemmemory"] = describeMemory(sharedSystemMemory, "Shared System RAM");
    return map;
}

void qzSystemUtils::GenerateHardwareReport(qzVariant::qzVariantMapImpl& report, bool /*detailed*/)
{
    report["CPU"] = GetCPUInfo().toVariantMap();
    report["RAM"] = humanizeBytes(GetRamQuantityInBytes());
    report["LogicalCore"] = static_cast<long>(GetIdealThreadCount());
    report["OS"] = GetOSInfo();
    qzVariant::qzVariantListImpl devices;
    for (const DirectXDeviceInfo& device : GetDirectXDevices()) {
        devices.push_back(qzVariant(device.toVariantMap()));
    }
    report["DirectX Devices"] = std::move(devices);
    report["thirdparty"] = GetThirdPartyLibVersionInfo();
}

}  // namespace qz
