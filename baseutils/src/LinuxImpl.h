#ifndef VEXDEP_LINUXIMPL_H
#define VEXDEP_LINUXIMPL_H

#include "IPlatformImpl.h"

#include <cstdint>
#include <string>
#include <vector>

// The Linux platform object: shell commands, directories, file tests,
// directory listings, shared libraries, the hardware-access library, the
// USB storage module and ESX/ESXi detection.
//
// Every command, library load and sleep of the hardware-access and USB
// operations goes through the virtual operations of the interface, so that
// the decisions can be exercised without their side effects.
class CLinuxImpl : public IPlatformImpl
{
public:
    CLinuxImpl() {}

    bool isZEPHInstalled() override;
    int InstallZeph() override;
    int UninstallZeph() override;
    void* LoadLibrary(const std::string& strName) override;
    void FreeLibrary(void* pHandle) override;
    void* GetProcAddress(void* pHandle, const std::string& strSymbol) override;
    int ExecuteCmd(const std::string& strCommand, bool bWait, const int64_t& nTimeLimitMs) override;
    int ExecuteCmdNoWait(const std::string& strCommand, bool bWait, const int64_t& nTimeLimitMs) override;
    void Sleep(int nSeconds) override;
    std::string getCurrentDirectory() override;
    std::string getCurrentProcessDirectory() override;
    bool setCurrentDirectory(const std::string& strPath) override;
    std::vector<std::string> GetFileList(std::string& strDirectory) override;
    std::vector<std::string> GetFileListName(std::string& strDirectory) override;
    bool IsFileExits(const std::string& strName) override;
    bool IsFileExistsAbs(const std::string& strPath) override;
    void* LoadZephLibrary(const std::string& strFileName) override;
    bool isUSBblocklisted() override;
    void unloadUSB() override;
    void* LoadLibrarywithoutCustomization(const std::string& strName) override;

    bool IsDirectory(const std::string& strPath) override;
    bool ReadRegularFile(const std::string& strPath, std::string& strText) override;
    bool IsStreamOrDevice(const std::string& strPath) override;
    int OpenHeldFile(const std::string& strPath, std::string& strText) override;
    void CloseHeldFile(int nFd) override;
    int ExecuteCmdWithTimeout(const std::string& strCommand, const int64_t& nTimeLimitMs, bool& bTimedOut) override;
    bool GetEnvironmentVariable(const std::string& strName, std::string& strValue) override;
    bool ChangeDirectory(const std::string& strPath, std::string& strError) override;
    bool GetModificationTime(const std::string& strPath, int64_t& nMilliseconds) override;
    bool IsWritableDirectory(const std::string& strPath) override;
    bool CanOpen(const std::string& strPath, std::string& strError) override;
    bool ExamineFile(const std::string& strPath, SFileState& state, std::string& strError) override;
    bool BeginStreamCapture(std::string& strError) override;
    void TakeCapturedStreams(std::size_t nKeepBytes, SCapturedStream& out, SCapturedStream& err) override;
    void EndStreamCapture() override;
    int64_t GetFileClockTime() override;

    bool isKOVAZEPHInstalled();
    bool isESXiSystem();
    bool isESXSystem();
    bool isUSBStorageStaticallyLinked();

    static int nZEPHInstallRefCount;
    static bool bZEPHAlreadyInstalled;
    static bool bUSBBlocklistCheckDone;
    static bool bUSBDriverNotLoaded;
    static bool bUSBDriverLoadedByVEX;

    // How long a timed-out command's process group gets between SIGTERM and
    // SIGKILL.
    static const int64_t nTerminateGraceMs;

protected:
    // The kernel's system name as uname reports it; false when uname fails.
    virtual bool GetKernelName(std::string& strName);
    // The file that identifies an ESX host.
    virtual std::string GetVMwareReleasePath();

private:
    std::string GetZephLibraryDirectory();
    bool IsUSBStoragePresent();
    std::vector<std::string> ListDirectory(std::string& strDirectory, bool bWithDirectory);

    // The stream capture: the files the two streams go to, the streams as
    // they were, and whether what is written is dropped. -1: no capture.
    int m_nCaptureOut = -1;
    int m_nCaptureErr = -1;
    int m_nSavedOut = -1;
    int m_nSavedErr = -1;
    bool m_bCaptureDiscards = false;
};

#endif // VEXDEP_LINUXIMPL_H
