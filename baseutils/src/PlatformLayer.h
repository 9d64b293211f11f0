#ifndef VEXDEP_PLATFORMLAYER_H
#define VEXDEP_PLATFORMLAYER_H

#include "IPlatformImpl.h"

#include <cstdint>
#include <string>
#include <vector>

// Static facade over the operating system. Every operation makes sure that
// the platform object exists (a CLinuxImpl, created on first use and kept
// for the process) and forwards to it unchanged.
class CPlatformLayer
{
public:
    CPlatformLayer() {}
    ~CPlatformLayer() {}

    static IPlatformImpl* GetPlatform();

    static bool isZEPHInstalled();
    static int InstallZeph();
    static int UninstallZeph();
    static void* Load_Library(const std::string& strName);
    static void* Load_Library_without_Customization(const std::string& strName);
    static void FreeLibrary(void* pHandle);
    static void* GetProcAddress(void* pHandle, const std::string& strSymbol);
    static int ExecuteCmd(const std::string& strCommand, bool bWait, const int64_t& nTimeLimitMs);
    static int ExecuteCmdNoWait(const std::string& strCommand, bool bWait, const int64_t& nTimeLimitMs);
    static int ExecuteCmdWithTimeout(const std::string& strCommand, const int64_t& nTimeLimitMs, bool& bTimedOut);
    static void Sleep(int nSeconds);
    static std::string getCurrentDirectory();
    static std::string getCurrentProcessDirectory();
    static std::vector<std::string> GetFileList(std::string& strDirectory);
    static std::vector<std::string> GetFileListName(std::string& strDirectory);
    static bool setCurrentDirectory(const std::string& strPath);
    static bool IsFileExits(const std::string& strName);
    static bool IsFileExistsAbs(const std::string& strPath);
    static bool IsDirectory(const std::string& strPath);
    static bool ReadRegularFile(const std::string& strPath, std::string& strText);
    static bool IsStreamOrDevice(const std::string& strPath);
    static int OpenHeldFile(const std::string& strPath, std::string& strText);
    static void CloseHeldFile(int nFd);
    static void* LoadZephLibrary(const std::string& strFileName);
    static bool isUSBblocklisted();
    static void unloadUSB();
    static bool GetEnvironmentVariable(const std::string& strName, std::string& strValue);
    static bool ChangeDirectory(const std::string& strPath, std::string& strError);
    static bool GetModificationTime(const std::string& strPath, int64_t& nMilliseconds);
    static bool IsWritableDirectory(const std::string& strPath);
    static bool CanOpen(const std::string& strPath, std::string& strError);
    static bool ExamineFile(const std::string& strPath, SFileState& state, std::string& strError);
    static bool BeginStreamCapture(std::string& strError);
    static void TakeCapturedStreams(std::size_t nKeepBytes, SCapturedStream& out, SCapturedStream& err);
    static void EndStreamCapture();
    static int64_t GetFileClockTime();

    // Creates (or truncates) the debug-log marker file in the working
    // directory; true when it could be opened.
    static bool CreateEmptyVEXDebuLogFile();

private:
    static IPlatformImpl* m_pPlatformImpl;
};

#endif // VEXDEP_PLATFORMLAYER_H
