#include "InventoryModule.h"

#include "DeviceInventoryInfo.h"
#include "Logger.h"
#include "PlatformLayer.h"

#include <chrono>
#include <cstdint>
#include <limits>
#include <new>

namespace
{
// The collector's time limit in milliseconds, saturating instead of
// overflowing for absurdly large limits.
int64_t TimeLimitMilliseconds(long nTimeoutSeconds)
{
    const int64_t nMaxSeconds = std::numeric_limits<int64_t>::max() / 1000;
    if (nTimeoutSeconds > nMaxSeconds)
    {
        return std::numeric_limits<int64_t>::max();
    }
    return static_cast<int64_t>(nTimeoutSeconds) * 1000;
}

int64_t NowMilliseconds()
{
    return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::system_clock::now().time_since_epoch())
        .count();
}
} // namespace

CInventoryModule::CInventoryModule(const std::string& strModulePath) : m_strModulePath(strModulePath)
{
    VEXLOG("CInventoryModule::CInventoryModule  module file path  " + strModulePath);
}

// The configuration reader (and its document) goes with the module.
CInventoryModule::~CInventoryModule() { VEXLOG("CInventoryModule::~CInventoryModule  "); }

std::vector<CDeviceInfo*> CInventoryModule::GetInventoryInfo()
{
    std::vector<CDeviceInfo*> vDevices;
    const std::string strConfigPath = m_strModulePath + "/PIEConfig.xml";
    VEXLOG("CInventoryModule::GetInventoryInfo Start   ");
    m_run = SCollectorRun();

    m_pPIEConfigInfo.reset(new (std::nothrow) CPIEConfigInfo());
    if (!m_pPIEConfigInfo)
    {
        VEXLOG("CInventoryModule::GetInventoryInfo m_pPIEConfigInfo is NULL  ");
        return vDevices;
    }

    VEXLOG("CInventoryModule::GetInventoryInfo PIE File Path =   " + strConfigPath);
    if (!m_pPIEConfigInfo->Init(strConfigPath))
    {
        VEXLOG("CInventoryModule::GetInventoryInfo m_pPIEConfigInfo->Init failed");
        return vDevices;
    }

    const std::string strPreviousDirectory = CPlatformLayer::getCurrentDirectory();
    if (!CPlatformLayer::setCurrentDirectory(m_strModulePath))
    {
        VEXLOG("CInventoryModule::GetInventoryInfo setCurrentDirectory failed");
        return vDevices;
    }
    std::string strOutputPath;
    const int nCollected = GetInvntoryXml(strOutputPath);
    // Back where we started, whatever the collector did.
    CPlatformLayer::setCurrentDirectory(strPreviousDirectory);

    if (m_run.bTimedOut)
    {
        return TimedOutResult();
    }
    if (nCollected == 0)
    {
        VEXLOG("CInventoryModule::GetInventoryInfo GetInvntoryXml failed");
        return vDevices;
    }

    VEXLOG("CInventoryModule::GetInventoryInfo CDeviceInventoryInfo deviceInvInfo");
    {
        CDeviceInventoryInfo deviceInvInfo(strOutputPath);
        VEXLOG("CInventoryModule::GetInventoryInfo deviceInvInfo.GetDeviceInfo Before");
        vDevices = deviceInvInfo.GetDeviceInfo();
        VEXLOG("CInventoryModule::GetInventoryInfo deviceInvInfo.GetDeviceInfo After");
        VEXLOG("CInventoryModule::GetInventoryInfo END");
    }
    return vDevices;
}

int CInventoryModule::GetInvntoryXml(std::string& strOutputPath)
{
    VEXLOG("CInventoryModule::GetInvntoryXml Start");
    m_run = SCollectorRun();
    if (!m_pPIEConfigInfo)
    {
        VEXLOG("CInventoryModule::GetInvntoryXml m_pPIEConfigInfo is NULL");
        return 0;
    }

    const std::string strInventoryCommand = m_pPIEConfigInfo->GetInventoryCommand();
    const std::string strInvetoryXmlfileName = m_pPIEConfigInfo->GetInventoryCommandOutFileName();
    const long nTimeout = m_pPIEConfigInfo->GetInventoryTimeout();
    m_run.nConfiguredSeconds = nTimeout;
    if (strInventoryCommand.empty() || strInvetoryXmlfileName.empty() || nTimeout < 1)
    {
        VEXLOG("CInventoryModule::GetInvntoryXml strInventoryCommand or  strInvetoryXmlfileName is empty or "
               "nTimeout <=0 ");
        return 0;
    }
    m_run.bConfigurationRead = true;

    // The doubled slash is part of the established command line and log text.
    const std::string strInventoryCmdFullPath = m_strModulePath + "//" + strInventoryCommand;
    VEXLOG("CInventoryModule::GetInvntoryXml strInventoryCmdFullPath = " + strInventoryCmdFullPath);

    const int nResult = RunCollector(strInventoryCmdFullPath, nTimeout);
    if (m_run.bTimedOut)
    {
        VEXLOG("CInventoryModule::GetInvntoryXml collector timed out after " + std::to_string(m_run.nLimitSeconds) +
               " seconds");
        return 0;
    }
    if (nResult != 0)
    {
        // Not an error: a collector may exit non-zero and still have written
        // its document.
        VEXLOG("CInventoryModule::GetInvntoryXml ExecuteCmd failed for getting the inventory");
    }

    strOutputPath = m_strModulePath + "//" + strInvetoryXmlfileName;
    m_run.strOutputPath = strOutputPath;
    VEXLOG("CInventoryModule::GetInvntoryXml Path:" + strOutputPath);
    return 1;
}

int CInventoryModule::RunCollector(const std::string& strCommand, long nConfiguredSeconds)
{
    m_run.bStarted = true;
    m_run.strCommand = strCommand;
    m_run.nLimitSeconds = m_timeLimit.LimitFor(nConfiguredSeconds);
    m_run.nStartedMs = NowMilliseconds();
    if (m_run.nLimitSeconds > 0)
    {
        // The guard: when the limit runs out, the platform layer ends the
        // collector's whole process group.
        bool bTimedOut = false;
        m_run.nWaitStatus =
            CPlatformLayer::ExecuteCmdWithTimeout(strCommand, TimeLimitMilliseconds(m_run.nLimitSeconds), bTimedOut);
        m_run.bTimedOut = bTimedOut;
    }
    else
    {
        // The shell, waited for until it ends; the configured limit is
        // handed on and, as with every shell command, not enforced.
        m_run.nWaitStatus = CPlatformLayer::ExecuteCmd(strCommand, false, TimeLimitMilliseconds(nConfiguredSeconds));
    }
    m_run.nEndedMs = NowMilliseconds();
    return m_run.nWaitStatus;
}

std::vector<CDeviceInfo*> CInventoryModule::TimedOutResult()
{
    std::vector<CDeviceInfo*> vDevices;
    CDeviceInfo* pRecord = new (std::nothrow) CDeviceInfo();
    if (pRecord == nullptr)
    {
        VEXLOG("CInventoryModule::GetInventoryInfo memory allocation failed for the timed-out collector record");
        return vDevices;
    }
    pRecord->setStatus(1);
    pRecord->setErrorMsg(TimedOutMessage(m_run.nLimitSeconds));
    vDevices.push_back(pRecord);
    return vDevices;
}

std::string CInventoryModule::TimedOutMessage(long nTimeoutSeconds)
{
    return "Inventory collector timed out after " + std::to_string(nTimeoutSeconds) + " seconds";
}
