#include "PlatformLayer.h"

#include "LinuxImpl.h"
#include "Logger.h"

#include <fstream>
#include <new>

IPlatformImpl* CPlatformLayer::m_pPlatformImpl = nullptr;

IPlatformImpl* CPlatformLayer::GetPlatform()
{
    if (m_pPlatformImpl == nullptr)
    {
        m_pPlatformImpl = new CLinuxImpl();
    }
    return m_pPlatformImpl;
}

bool CPlatformLayer::isZEPHInstalled() { return GetPlatform()->isZEPHInstalled(); }

int CPlatformLayer::InstallZeph() { return GetPlatform()->InstallZeph(); }

int CPlatformLayer::UninstallZeph() { return GetPlatform()->UninstallZeph(); }

void* CPlatformLayer::Load_Library(const std::string& strName) { return GetPlatform()->LoadLibrary(strName); }

void* CPlatformLayer::Load_Library_without_Customization(const std::string& strName)
{
    return GetPlatform()->LoadLibrarywithoutCustomization(strName);
}

void CPlatformLayer::FreeLibrary(void* pHandle) { GetPlatform()->FreeLibrary(pHandle); }

void* CPlatformLayer::GetProcAddress(void* pHandle, const std::string& strSymbol)
{
    return GetPlatform()->GetProcAddress(pHandle, strSymbol);
}

int CPlatformLayer::ExecuteCmd(const std::string& strCommand, bool bWait, const int64_t& nTimeLimitMs)
{
    return GetPlatform()->ExecuteCmd(strCommand, bWait, nTimeLimitMs);
}

int CPlatformLayer::ExecuteCmdNoWait(const std::string& strCommand, bool bWait, const int64_t& nTimeLimitMs)
{
    return GetPlatform()->ExecuteCmdNoWait(strCommand, bWait, nTimeLimitMs);
}

int CPlatformLayer::ExecuteCmdWithTimeout(const std::string& strCommand, const int64_t& nTimeLimitMs, bool& bTimedOut)
{
    return GetPlatform()->ExecuteCmdWithTimeout(strCommand, nTimeLimitMs, bTimedOut);
}

void CPlatformLayer::Sleep(int nSeconds) { GetPlatform()->Sleep(nSeconds); }

std::string CPlatformLayer::getCurrentDirectory() { return GetPlatform()->getCurrentDirectory(); }

std::string CPlatformLayer::getCurrentProcessDirectory() { return GetPlatform()->getCurrentProcessDirectory(); }

std::vector<std::string> CPlatformLayer::GetFileList(std::string& strDirectory)
{
    return GetPlatform()->GetFileList(strDirectory);
}

std::vector<std::string> CPlatformLayer::GetFileListName(std::string& strDirectory)
{
    return GetPlatform()->GetFileListName(strDirectory);
}

bool CPlatformLayer::setCurrentDirectory(const std::string& strPath)
{
    return GetPlatform()->setCurrentDirectory(strPath);
}

bool CPlatformLayer::IsFileExits(const std::string& strName) { return GetPlatform()->IsFileExits(strName); }

bool CPlatformLayer::IsFileExistsAbs(const std::string& strPath) { return GetPlatform()->IsFileExistsAbs(strPath); }

bool CPlatformLayer::IsDirectory(const std::string& strPath) { return GetPlatform()->IsDirectory(strPath); }

bool CPlatformLayer::ReadRegularFile(const std::string& strPath, std::string& strText)
{
    return GetPlatform()->ReadRegularFile(strPath, strText);
}

bool CPlatformLayer::IsStreamOrDevice(const std::string& strPath) { return GetPlatform()->IsStreamOrDevice(strPath); }

int CPlatformLayer::OpenHeldFile(const std::string& strPath, std::string& strText)
{
    return GetPlatform()->OpenHeldFile(strPath, strText);
}

void CPlatformLayer::CloseHeldFile(int nFd) { GetPlatform()->CloseHeldFile(nFd); }

void* CPlatformLayer::LoadZephLibrary(const std::string& strFileName)
{
    return GetPlatform()->LoadZephLibrary(strFileName);
}

bool CPlatformLayer::isUSBblocklisted() { return GetPlatform()->isUSBblocklisted(); }

void CPlatformLayer::unloadUSB() { GetPlatform()->unloadUSB(); }

bool CPlatformLayer::GetEnvironmentVariable(const std::string& strName, std::string& strValue)
{
    return GetPlatform()->GetEnvironmentVariable(strName, strValue);
}

bool CPlatformLayer::ChangeDirectory(const std::string& strPath, std::string& strError)
{
    return GetPlatform()->ChangeDirectory(strPath, strError);
}

bool CPlatformLayer::GetModificationTime(const std::string& strPath, int64_t& nMilliseconds)
{
    return GetPlatform()->GetModificationTime(strPath, nMilliseconds);
}

bool CPlatformLayer::IsWritableDirectory(const std::string& strPath)
{
    return GetPlatform()->IsWritableDirectory(strPath);
}

bool CPlatformLayer::CanOpen(const std::string& strPath, std::string& strError)
{
    return GetPlatform()->CanOpen(strPath, strError);
}

bool CPlatformLayer::ExamineFile(const std::string& strPath, SFileState& state, std::string& strError)
{
    return GetPlatform()->ExamineFile(strPath, state, strError);
}

bool CPlatformLayer::BeginStreamCapture(std::string& strError) { return GetPlatform()->BeginStreamCapture(strError); }

void CPlatformLayer::TakeCapturedStreams(std::size_t nKeepBytes, SCapturedStream& out, SCapturedStream& err)
{
    GetPlatform()->TakeCapturedStreams(nKeepBytes, out, err);
}

void CPlatformLayer::EndStreamCapture() { GetPlatform()->EndStreamCapture(); }

int64_t CPlatformLayer::GetFileClockTime() { return GetPlatform()->GetFileClockTime(); }

bool CPlatformLayer::CreateEmptyVEXDebuLogFile()
{
    std::ofstream ofsMarker(strEnableLogFileName.c_str(), std::ios::out | std::ios::trunc);
    const bool bOpened = ofsMarker.is_open();
    ofsMarker.close();
    return bOpened;
}
