#ifndef VEXDEP_REPOSITORYBUILDER_H
#define VEXDEP_REPOSITORYBUILDER_H

#include "SMBIOSInventory.h"

#include <string>
#include <vector>

namespace vextest
{
// Firmware sources that name files missing in strDirectory: the checker's
// platform checks find no table and are passed over.
SMBIOSSources MissingSMBIOSSources(const std::string& strDirectory);

// One member of a tar archive the tests write (type as in the tar header:
// '0' file, '5' directory, '1' hard link, '2' symbolic link, '3' and '4'
// devices, '6' named pipe, ...).
struct TarEntry
{
    std::string strName;
    char cType = '0';
    std::string strContent;
    unsigned nMode = 0644;
    std::string strLinkName;
};

// A tar archive (ustar; names longer than 100 bytes get a GNU long-name
// record first), ended by two zero blocks.
std::string TarArchive(const std::vector<TarEntry>& vEntries);
// The members of a directory below strDirectory (files, directories), in
// path order, as tar entries.
std::vector<TarEntry> TarEntriesOf(const std::string& strDirectory);
std::string Gzip(const std::string& strData);
std::string Xz(const std::string& strData);

// A device of a package: its component ID, and PCI identities as
// "vendor:device:subvendor:subdevice".
struct DeviceRecipe
{
    std::string strComponentID;
    std::vector<std::string> vPCI;
};

// A dependency a package declares.
struct DependencyRecipe
{
    bool bSoft = false;
    std::string strComponentID;
    std::string strComponentType = "FRMW";
    std::string strVersion;
    std::string strPath; // backslashes allowed
    std::string strReleaseID = "INV";
    std::string strDisplay;
    std::string strPCI;                  // "vendor:device:subvendor:subdevice" for a PCI dependency
    std::vector<std::string> vPlatforms; // system IDs without 0x
    std::string strOS;                   // "vendor major minor" for one OS entry
};

// A release directory: its collector writes the inventory document and,
// when the environment names VEXDEP_TEST_RUN_LOG, appends its name there.
struct ReleaseRecipe
{
    std::string strReleaseID = "INV";
    std::string strInventory; // the Device elements of the document
    std::string strName;      // what the collector writes into the run log
};

enum class PackageFormat
{
    Directory,
    Tar,
    TarGzip,
    TarXz
};

struct PackageRecipe
{
    std::string strPath; // relative to the repository
    PackageFormat eFormat = PackageFormat::Directory;
    std::string strDisplay = "Package";
    std::string strComponentType = "FRMW";
    std::string strVersion = "1.0";
    std::vector<DeviceRecipe> vDevices;
    // Dependencies belong to the first device.
    std::vector<DependencyRecipe> vDependencies;
    std::vector<ReleaseRecipe> vReleases;
};

// The package description of a recipe.
std::string PackageXml(const PackageRecipe& recipe);
// An installed instance for a collector's document: a component ...
std::string InstalledComponent(const std::string& strComponentID, const std::string& strVersion,
                               const std::string& strType = "FRMW");
// ... or a PCI device ("vendor:device:subvendor:subdevice").
std::string InstalledPCI(const std::string& strPCI, const std::string& strVersion, const std::string& strType = "FRMW");
// A machine inventory (inv.xml) with the given Device elements, on Linux 9.2 x86_64.
std::string MachineInventory(const std::string& strDevices);
// A Device element of inv.xml.
std::string MachineComponent(const std::string& strComponentID);
std::string MachinePCI(const std::string& strPCI);

// Writes the package below strRepository (or, with an empty path, into
// strRepository itself as a package directory).
void WritePackage(const std::string& strRepository, const PackageRecipe& recipe);
} // namespace vextest

#endif // VEXDEP_REPOSITORYBUILDER_H
