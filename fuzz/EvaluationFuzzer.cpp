// Fuzz target: a whole evaluation.
//
// The input is cut at its first NUL: the part before it is written as
// "package.xml" and the part after it as "inv.xml" into the scratch working
// directory, which holds nothing else (no release directories, so no
// collector is ever found or run). For each dependency type a checker is
// built there, exactly as the wrapper builds it, pointed at SMBIOS sources
// that do not exist, and Process runs with the inventory text; the report is
// then built from the list it keeps, with the error messages going to a
// string stream.
//
// Two things a package could make a run depend on the machine are kept
// inside the scratch directory: an inventory text that names an existing
// path (the reader would read that path) is left out, and a release ID that
// leads out of the package directory ("/" in it, or "..") is replaced before
// any lookup, through the checker's decision listener. The listener also
// reads everything each decision hands it.

#include "FuzzSupport.h"

#include "DependenciesChecker.h"
#include "DependencyDecisionListener.h"
#include "LinuxDependencyWrapper.h"
#include "SMBIOSInventory.h"

#include <cstddef>
#include <cstdint>
#include <sstream>
#include <string>
#include <vector>

namespace
{
std::size_t SizeOf(const SOSInfo& osInfo)
{
    return osInfo.strMajorVersion.size() + osInfo.strMinorVersion.size() + osInfo.strSPMajorVersion.size() +
           osInfo.strSPMinorVersion.size() + osInfo.strOSVendor.size() + osInfo.strOSArch.size();
}

class CContainingListener : public IDependencyDecisionListener
{
public:
    void OnDependenciesLoaded(const std::vector<CDeviceInfo*>& vDependencies,
                              CDeviceInfo::eDependencyType eRequested) override
    {
        m_nSum += static_cast<std::size_t>(eRequested);
        m_vLoaded = vDependencies;
        for (CDeviceInfo* pDependency : vDependencies)
        {
            if (pDependency == nullptr)
            {
                continue;
            }
            const std::string strReleaseID = pDependency->getReleaseID();
            if (strReleaseID.find('/') != std::string::npos || strReleaseID == "..")
            {
                pDependency->setReleaseID("release-outside-the-package");
            }
        }
    }
    void OnInventoryLookup(const CDeviceInfo* pDependency, const SInventoryLookup& lookup) override
    {
        m_nSum += Touch(pDependency) + lookup.strReleaseID.size() + lookup.strComponentPath.size();
        if (lookup.pRecords != nullptr)
        {
            m_nSum += vexfuzz::ReadWholeRecords(*lookup.pRecords);
        }
    }
    void OnContextCheck(const CDeviceInfo* pDependency, const std::string& strContext, bool bApplicable) override
    {
        m_nSum += Touch(pDependency) + strContext.size() + (bApplicable ? 1 : 0);
    }
    void OnPlatformCheck(const CDeviceInfo* pDependency, const SPlatformCheck& check) override
    {
        m_nSum += Touch(pDependency) + check.vPlatforms.size() + check.strSystemID.size();
        if (check.pSMBIOS != nullptr)
        {
            m_nSum += static_cast<std::size_t>(check.pSMBIOS->GetTableSource());
        }
    }
    void OnOSCheck(const CDeviceInfo* pDependency, const SOSCheck& check) override
    {
        m_nSum += Touch(pDependency) + SizeOf(check.running) + static_cast<std::size_t>(check.nMatchedEntry + 1);
        for (const SOSInfo& osInfo : check.vRequired)
        {
            m_nSum += SizeOf(osInfo);
        }
    }
    void OnDeviceCheck(const CDeviceInfo* pDependency, const SDeviceCheck& check) override
    {
        m_nSum += Touch(pDependency) + (check.bPresent ? 1 : 0);
        if (check.pMatchedDevice != nullptr)
        {
            m_nSum += check.pMatchedDevice->getComponentID().size() + check.pMatchedDevice->getVersion().size();
        }
    }
    void OnTypeCheck(const CDeviceInfo* pDependency, CDeviceInfo::eDependencyType eRequested, bool bSameType) override
    {
        m_nSum += Touch(pDependency) + static_cast<std::size_t>(eRequested) + (bSameType ? 1 : 0);
    }
    void OnVersionComparison(const CDeviceInfo* pDependency, const SVersionComparison& comparison) override
    {
        m_nSum += Touch(pDependency) + comparison.strRequired.size() + comparison.strInstalled.size();
        if (comparison.pInstalled != nullptr)
        {
            m_nSum += comparison.pInstalled->getVersion().size();
        }
    }
    void OnVerdict(const CDeviceInfo* pDependency, EVerdict eVerdict) override
    {
        m_nSum += Touch(pDependency) + static_cast<std::size_t>(eVerdict);
    }

    std::size_t Sum() const { return m_nSum; }
    // The declared dependencies, as the checker loaded them (the checker
    // owns them).
    const std::vector<CDeviceInfo*>& Loaded() const { return m_vLoaded; }

private:
    static std::size_t Touch(const CDeviceInfo* pDependency)
    {
        return pDependency != nullptr ? pDependency->getComponentID().size() + pDependency->getReleaseID().size() : 0;
    }

    std::size_t m_nSum = 0;
    std::vector<CDeviceInfo*> m_vLoaded;
};
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, std::size_t nSize)
{
    const std::pair<std::string, std::string> texts = vexfuzz::CutAtFirstNul(pData, nSize);
    const std::string& strPackage = texts.first;
    const std::string& strInventory = texts.second;

    vexfuzz::ScopedScratchCwd cwd;
    if (vexfuzz::NamesExistingPath(strInventory))
    {
        return 0;
    }
    vexfuzz::WriteFileOrDie(vexfuzz::ScratchPath("package.xml"), strPackage);
    vexfuzz::WriteFileOrDie(vexfuzz::ScratchPath("inv.xml"), strInventory);

    SMBIOSSources sources;
    sources.strEntryPointPath = vexfuzz::ScratchPath("no-smbios_entry_point");
    sources.strTablePath = vexfuzz::ScratchPath("no-DMI");
    sources.strMemoryDevicePath = vexfuzz::ScratchPath("no-mem");
    sources.strESXiDevicePath = vexfuzz::ScratchPath("no-esxi-smbios");

    std::size_t nSum = 0;
    for (CDeviceInfo::eDependencyType eType : {CDeviceInfo::eDependencyTypeHard, CDeviceInfo::eDependencyTypeSoft})
    {
        CContainingListener listener;
        // The working directory as the wrapper passes it: ending in "/".
        CDependenciesChecker checker(vexfuzz::ScratchDirectory() + "/");
        checker.SetSMBIOSSources(sources);
        checker.SetDecisionListener(&listener);
        const bool bProcessed = checker.Process(eType, strInventory);
        const std::vector<CDeviceInfo*> vReport = checker.GetDependentDevices();
        std::ostringstream ossErrors;
        const std::string strReport = CLinuxDepenedencyWrapper::FormatReport(eType, vReport, ossErrors);
        // Without collectors no inventory is ever found, so nothing can be
        // unmet or failed.
        if (!vReport.empty())
        {
            __builtin_trap();
        }
        // The report of every declared dependency, as if each were unmet.
        const std::string strFullReport = CLinuxDepenedencyWrapper::FormatReport(eType, listener.Loaded(), ossErrors);
        nSum += (bProcessed ? 1 : 0) + strReport.size() + strFullReport.size() + ossErrors.str().size() +
                listener.Sum();
    }
    vexfuzz::Consume(nSum);
    return 0;
}
