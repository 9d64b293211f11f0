#ifndef VEXDEP_LINUXDEPENDENCYWRAPPER_H
#define VEXDEP_LINUXDEPENDENCYWRAPPER_H

#include "DependencyWrapper.h"
#include "DeviceInfo.h"

#include <iosfwd>
#include <memory>
#include <string>
#include <vector>

class CDependenciesChecker;

// Runs the dependency checker for one dependency type in the working
// directory and turns the dependencies to report into the report text.
class CLinuxDepenedencyWrapper : public CDependencyWrapper
{
public:
    CLinuxDepenedencyWrapper();
    ~CLinuxDepenedencyWrapper() override;

    // True when there is something to report; strReport then holds the
    // report. Failed inventories' messages go to standard error.
    bool GetDependenciesInformation(CDeviceInfo::eDependencyType eType, std::string& strReport,
                                    const std::string& strInventoryXml);

    // The report for a list of dependencies: heading, one block per record,
    // the closing sentence when a record's inventory failed. The error
    // message of each failed record is written to errorStream.
    static std::string FormatReport(CDeviceInfo::eDependencyType eType, const std::vector<CDeviceInfo*>& vRecords,
                                    std::ostream& errorStream);

    CDependenciesChecker* GetChecker() { return m_pDependenciesChecker.get(); }

private:
    std::string m_strWorkingDirectory;
    std::unique_ptr<CDependenciesChecker> m_pDependenciesChecker;
    std::vector<CDeviceInfo*> m_vDependentDevices;
};

#endif // VEXDEP_LINUXDEPENDENCYWRAPPER_H
