#ifndef VEXDEP_SIMULATEDSTATE_H
#define VEXDEP_SIMULATEDSTATE_H

#include "PackageDescription.h"

#include <cstddef>
#include <string>
#include <vector>

// One identity a planned step puts on the machine.
struct SInstalledIdentity
{
    CDeviceInfo identity;   // as an inventory record would show it
    std::string strVersion; // the package's version
    std::size_t nStep = 0;  // the step (1-based) that installs it
    std::string strPackage; // the package's path
};

// The machine as the plan's later evaluations see it: after a planned step
// installs a package, every installed instance of an identity the package
// provides (an inventory record a collector reports that the checker's
// inventory match takes for that identity) shows the package's version, as
// the collector would report it once the update is installed. A later step
// wins over an earlier one.
//
// An identity that no collector reports is not added: the devices of the
// machine do not change, and installing a package puts nothing where there
// was nothing to update (the planner flags a later dependency on such an
// identity).
class CSimulatedState
{
public:
    void Install(const SPackageDescription& package, std::size_t nStep);

    // Gives every installed instance of an installed identity the version
    // of the step that installed it; returns how many records changed.
    std::size_t Apply(const std::vector<CDeviceInfo*>& vRecords) const;
    // The last installed identity the checker's match takes the dependency
    // for, or null.
    const SInstalledIdentity* LastProviding(const CDeviceInfo& dependency) const;

    const std::vector<SInstalledIdentity>& Installed() const { return m_vInstalled; }
    bool Empty() const { return m_vInstalled.empty(); }

private:
    std::vector<SInstalledIdentity> m_vInstalled;
};

#endif // VEXDEP_SIMULATEDSTATE_H
