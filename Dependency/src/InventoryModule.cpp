#include "InventoryModule.h"

#include "DeviceInventoryInfo.h"
#include "Logger.h"
#include "PlatformLayer.h"

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
} // namespace

CInventoryModule::CInventoryModule(const std::string& strModulePath)
    : m_strModulePath(strModulePath), m_bCollectorTimedOut(false), m_nTimedOutAfterSeconds(0)
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

    if (m_bCollectorTimedOut)
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
    m_bCollectorTimedOut = false;
    if (!m_pPIEConfigInfo)
    {
        VEXLOG("CInventoryModule::GetInvntoryXml m_pPIEConfigInfo is NULL");
        return 0;
    }

    const std::string strInventoryCommand = m_pPIEConfigInfo->GetInventoryCommand();
    const std::string strInvetoryXmlfileName = m_pPIEConfigInfo->GetInventoryCommandOutFileName();
    const long nTimeout = m_pPIEConfigInfo->GetInventoryTimeout();
    if (strInventoryCommand.empty() || strInvetoryXmlfileName.empty() || nTimeout < 1)
    {
        VEXLOG("CInventoryModule::GetInvntoryXml strInventoryCommand or  strInvetoryXmlfileName is empty or "
               "nTimeout <=0 ");
        return 0;
    }

    // The doubled slash is part of the established command line and log text.
    const std::string strInventoryCmdFullPath = m_strModulePath + "//" + strInventoryCommand;
    VEXLOG("CInventoryModule::GetInvntoryXml strInventoryCmdFullPath = " + strInventoryCmdFullPath);

    // The collector gets the configured time limit; when it runs out, the
    // platform layer ends the collector's whole process group.
    bool bTimedOut = false;
    const int nResult =
        CPlatformLayer::ExecuteCmdWithTimeout(strInventoryCmdFullPath, TimeLimitMilliseconds(nTimeout), bTimedOut);
    if (bTimedOut)
    {
        m_bCollectorTimedOut = true;
        m_nTimedOutAfterSeconds = nTimeout;
        VEXLOG("CInventoryModule::GetInvntoryXml collector timed out after " + std::to_string(nTimeout) + " seconds");
        return 0;
    }
    if (nResult != 0)
    {
        // Not an error: a collector may exit non-zero and still have written
        // its document.
        VEXLOG("CInventoryModule::GetInvntoryXml ExecuteCmd failed for getting the inventory");
    }

    strOutputPath = m_strModulePath + "//" + strInvetoryXmlfileName;
    VEXLOG("CInventoryModule::GetInvntoryXml Path:" + strOutputPath);
    return 1;
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
    pRecord->setErrorMsg(TimedOutMessage(m_nTimedOutAfterSeconds));
    vDevices.push_back(pRecord);
    return vDevices;
}

std::string CInventoryModule::TimedOutMessage(long nTimeoutSeconds)
{
    return "Inventory collector timed out after " + std::to_string(nTimeoutSeconds) + " seconds";
}
