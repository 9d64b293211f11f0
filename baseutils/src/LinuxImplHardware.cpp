// CLinuxImpl: the hardware-access library (install, load, release with its
// reference count), ESX and ESXi detection, and the USB storage module.

#include "LinuxImpl.h"

#include "LinuxImplLogSource.h"

#include <algorithm>
#include <cctype>
#include <fstream>
#include <string>

#include <strings.h>
#include <sys/stat.h>
#include <sys/utsname.h>

int CLinuxImpl::nZEPHInstallRefCount = 0;
bool CLinuxImpl::bZEPHAlreadyInstalled = false;
bool CLinuxImpl::bUSBBlocklistCheckDone = false;
bool CLinuxImpl::bUSBDriverNotLoaded = false;
bool CLinuxImpl::bUSBDriverLoadedByVEX = false;

namespace
{
const char* const kZephLibraryDirectory = "/opt/brix/vex64/lib/";
const char* const kZephLibraryDirectoryESXi = "/scratch/opt/brix/vex/lib/";
const char* const kZephLibraryName = "libzephpm.so";
const char* const kZephLibraryName64 = "libzephpm64.so";
const char* const kInstallScriptInstall = "/vextamberinstall.sh install";
const char* const kInstallScriptUninstall = "/vextamberinstall.sh uninstall";
const char* const kVMwareReleaseFile = "/etc/vmware-release";
const char* const kESXiKernelName = "VMkernel";

const char* const kCmdUSBBuiltin =
    "grep -i \"usb[-_]storage.ko\" /lib/modules/$(uname -r)/modules.builtin  > /dev/null 2>&1";
const char* const kCmdUSBLoaded = "lsmod | grep usb_storage  > /dev/null 2>&1";
const char* const kCmdUSBLoad = "modprobe usb_storage  > /dev/null 2>&1";
const char* const kCmdUSBUnload = "rmmod usb_storage  > /dev/null 2>&1";
const int kUnloadAttempts = 59;
const std::size_t kReleaseLineLimit = 1024;
} // namespace

// ---------------------------------------------------------------------------
// Hardware-access library
// ---------------------------------------------------------------------------

std::string CLinuxImpl::GetZephLibraryDirectory()
{
    return isESXiSystem() ? kZephLibraryDirectoryESXi : kZephLibraryDirectory;
}

bool CLinuxImpl::isZEPHInstalled()
{
    const std::string strDirectory = GetZephLibraryDirectory();
    std::string strPath = strDirectory + kZephLibraryName;
    VEXLOG("Load library using " + strPath);
    void* pHandle = LoadLibrary(strPath);
    if (pHandle == nullptr)
    {
        strPath = strDirectory + kZephLibraryName64;
        VEXLOG("Load library using " + strPath);
        pHandle = LoadLibrary(strPath);
    }
    if (pHandle == nullptr)
    {
        return false;
    }
    VEXLOG("ZEPH is installed in the system");
    FreeLibrary(pHandle);
    return true;
}

bool CLinuxImpl::isKOVAZEPHInstalled()
{
    void* pHandle = LoadLibrary(kZephLibraryName);
    if (pHandle == nullptr)
    {
        pHandle = LoadLibrary(kZephLibraryName64);
    }
    if (pHandle == nullptr)
    {
        return false;
    }
    FreeLibrary(pHandle);
    return true;
}

int CLinuxImpl::InstallZeph()
{
    if (nZEPHInstallRefCount++ != 0)
    {
        return 0;
    }
    bZEPHAlreadyInstalled = isZEPHInstalled();
    if (bZEPHAlreadyInstalled)
    {
        return 0;
    }
    VEXLOG("InstallZeph: Custom Zeph Not Already Present");
    const std::string strCommand = getCurrentProcessDirectory() + kInstallScriptInstall;
    VEXLOG("Executimg command: " + strCommand);
    if (ExecuteCmd(strCommand, false, 0) == 0)
    {
        VEXLOG("InstallZeph: Custome Zeph Installed Successfully");
        return 0;
    }
    VEXLOG("InstallZeph: Zeph Installation Failed");
    if (isKOVAZEPHInstalled())
    {
        VEXLOG("InstallZeph: Found KOVA Zeph");
        return 0;
    }
    VEXLOG("InstallZeph: KOVA Zeph Not Present");
    return 1;
}

int CLinuxImpl::UninstallZeph()
{
    if (--nZEPHInstallRefCount != 0)
    {
        return 0;
    }
    if (!bZEPHAlreadyInstalled)
    {
        ExecuteCmd(getCurrentProcessDirectory() + kInstallScriptUninstall, false, 0);
    }
    VEXLOG("UninstallZeph: Zeph Uninstalled Successfully");
    return 0;
}

void* CLinuxImpl::LoadZephLibrary(const std::string& strFileName)
{
    void* pHandle = LoadLibrary(GetZephLibraryDirectory() + strFileName);
    if (pHandle != nullptr)
    {
        return pHandle;
    }
    VEXLOG("LoadZephLibrary: Unable to Load " + strFileName + " from " + kZephLibraryDirectory);
    pHandle = LoadLibrary(strFileName);
    if (pHandle != nullptr)
    {
        return pHandle;
    }
    VEXLOG("LoadZephLibrary: Unable to Load " + strFileName + " from " + "KOVA");
    return nullptr;
}

// ---------------------------------------------------------------------------
// ESX and ESXi detection
// ---------------------------------------------------------------------------

bool CLinuxImpl::GetKernelName(std::string& strName)
{
    utsname unameData;
    if (uname(&unameData) != 0)
    {
        return false;
    }
    strName = unameData.sysname;
    return true;
}

std::string CLinuxImpl::GetVMwareReleasePath() { return kVMwareReleaseFile; }

bool CLinuxImpl::isESXiSystem()
{
    std::string strName;
    return GetKernelName(strName) && strcasecmp(strName.c_str(), kESXiKernelName) == 0;
}

bool CLinuxImpl::isESXSystem()
{
    const std::string strPath = GetVMwareReleasePath();
    struct stat statBuffer;
    if (stat(strPath.c_str(), &statBuffer) != 0)
    {
        return false;
    }
    std::ifstream ifsRelease(strPath.c_str());
    std::string strLine;
    std::getline(ifsRelease, strLine);
    if (strLine.size() > kReleaseLineLimit)
    {
        strLine.resize(kReleaseLineLimit);
    }
    std::transform(strLine.begin(), strLine.end(), strLine.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });

    if (strLine.find("vmware esx server 3") != std::string::npos)
    {
        VEXLOG("getLinuxOSVer: ESX 3 Found");
        return true;
    }
    if (strLine.find("vmware esx 4.1") != std::string::npos || strLine.find("vmware esx 4") != std::string::npos)
    {
        VEXLOG("getLinuxOSVer: ESX 4 Found");
        return true;
    }
    VEXLOG("getLinuxOSVer: Unrecognized VMWare Found");
    return false;
}

// ---------------------------------------------------------------------------
// USB storage module
// ---------------------------------------------------------------------------

bool CLinuxImpl::isUSBStorageStaticallyLinked()
{
    VEXLOG(" CLinuxImpl::isUSBStorageStaticallyLinked Start");
    if (ExecuteCmd(kCmdUSBBuiltin, false, 0) == 0)
    {
        VEXLOG("CLinuxImpl::isUSBStorageStaticallyLinked usb_storage is built with kernel");
        return true;
    }
    VEXLOG(" CLinuxImpl::isUSBStorageStaticallyLinked End");
    return false;
}

bool CLinuxImpl::IsUSBStoragePresent() { return ExecuteCmd(kCmdUSBLoaded, false, 0) == 0; }

bool CLinuxImpl::isUSBblocklisted()
{
    VEXLOG(" CLinuxImpl::isUSBblocklisted Start");
    if (isESXiSystem() || isESXSystem())
    {
        VEXLOG(" CLinuxImpl::Skipping USB blocklisting check for ESXi and ESX");
        return false;
    }
    if (isUSBStorageStaticallyLinked())
    {
        return false;
    }
    if (bUSBBlocklistCheckDone)
    {
        VEXLOG(" CLinuxImpl::isUSBblocklisted check has already been performed earlier.");
        VEXLOG(" CLinuxImpl::isUSBblocklisted End");
        return bUSBDriverNotLoaded;
    }
    VEXLOG(" CLinuxImpl::isUSBblocklisted check is being done for the first time.");
    if (IsUSBStoragePresent())
    {
        VEXLOG("CLinuxImpl::isUSBblocklisted usb_storage module is already present.");
    }
    else if (ExecuteCmd(kCmdUSBLoad, false, 0) == 0 && IsUSBStoragePresent())
    {
        VEXLOG("CLinuxImpl::isUSBblocklisted loading usb_storage module is successful.");
        bUSBDriverLoadedByVEX = true;
    }
    else
    {
        VEXLOG("CLinuxImpl::isUSBblocklisted usb_storage module is not loaded. Attempt to load it was "
               "unsuccessful.");
        bUSBDriverNotLoaded = true;
    }
    VEXLOG(" CLinuxImpl::isUSBblocklisted End");
    bUSBBlocklistCheckDone = true;
    return bUSBDriverNotLoaded;
}

void CLinuxImpl::unloadUSB()
{
    VEXLOG(" CLinuxImpl::unloadUSB Start");
    if (!bUSBDriverLoadedByVEX)
    {
        VEXLOG(" CLinuxImpl::unloadUSB is not required.");
    }
    else
    {
        VEXLOG(" CLinuxImpl::unloadUSB usb module need be unloaded");
        for (int nAttempt = 0; nAttempt < kUnloadAttempts; ++nAttempt)
        {
            if (ExecuteCmd(kCmdUSBUnload, false, 0) == 0)
            {
                VEXLOG("CLinuxImpl::unloadUSB unloading usb module is successful.");
                break;
            }
            Sleep(1);
            VEXLOG("CLinuxImpl::unloadUSB unloading usb module is not successful.");
        }
    }
    VEXLOG(" CLinuxImpl::unloadUSB End");
    bUSBBlocklistCheckDone = false;
    bUSBDriverLoadedByVEX = false;
    bUSBDriverNotLoaded = false;
}
