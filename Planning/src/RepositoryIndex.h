#ifndef VEXDEP_REPOSITORYINDEX_H
#define VEXDEP_REPOSITORYINDEX_H

#include "PackageDescription.h"
#include "PCIIdentity.h"

#include <cstddef>
#include <map>
#include <string>
#include <unordered_map>
#include <vector>

// The packages of a repository, in path order, found by path and by the
// identities their devices carry.
class CRepositoryIndex
{
public:
    static const std::size_t npos;

    explicit CRepositoryIndex(std::vector<SPackageDescription> vPackages);

    const std::vector<SPackageDescription>& Packages() const { return m_vPackages; }
    const SPackageDescription& At(std::size_t nIndex) const { return m_vPackages[nIndex]; }
    // The package at a repository path, or npos.
    std::size_t AtPath(const std::string& strPath) const;
    // The packages that could be meant for the dependency: every package
    // with a device of the dependency's component ID or of its PCI identity
    // (as numbers), whatever their component type; in path order.
    std::vector<std::size_t> Related(const CDeviceInfo& dependency) const;

    // Whether the package provides what the dependency asks for, by the
    // checker's inventory match (component type ignoring case, device type,
    // and component ID or PCI identity as numbers).
    static bool Provides(const SPackageDescription& package, const CDeviceInfo& dependency);

private:
    std::vector<SPackageDescription> m_vPackages;
    std::map<std::string, std::size_t> m_mapPaths;
    std::unordered_map<std::string, std::vector<std::size_t>> m_mapComponentIDs;
    std::unordered_map<SPCINumbers, std::vector<std::size_t>, SPCINumbersHash> m_mapPCI;
};

#endif // VEXDEP_REPOSITORYINDEX_H
