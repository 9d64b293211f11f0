#ifndef VEXDEP_PACKAGEDESCRIPTION_H
#define VEXDEP_PACKAGEDESCRIPTION_H

#include "DeviceInfo.h"

#include <cstdint>
#include <string>
#include <vector>

// A device the package supports (SupportedDevices/Device): its component ID
// and its PCI identities, as the package reader lists them.
struct SSupportedDevice
{
    std::string strComponentID;
    std::string strDisplay;
    std::vector<SPCIInfo> vPCI;
};

// A dependency the package declares, as the package reader builds its
// record (one per PCI identity), with the line of its element in
// package.xml (0 when not known).
struct SDeclaredDependency
{
    CDeviceInfo::eDependencyType eType = CDeviceInfo::eDependencyTypeHard;
    std::string strDisplay;
    std::string strComponentID;
    std::string strComponentType;
    CDeviceInfo::eDeviceType eDeviceType = CDeviceInfo::eDeviceTypeNonPCI;
    SPCIInfo pci; // when the device type is PCI
    std::string strVersion;
    std::string strPath; // the package path, backslashes turned into slashes (as the report shows it)
    std::string strReleaseID;
    std::string strContext;
    std::vector<std::string> vPlatforms;
    std::vector<SOSInfo> vOperatingSystems;
    long nLine = 0;

    // The dependency as the checker holds it (identity, required version,
    // type, path and release), for the checker's own match.
    CDeviceInfo AsRecord() const;
    static SDeclaredDependency From(const CDeviceInfo& record);
};

// How a package lies in the repository.
enum class EPackageFormat
{
    Directory, // a directory holding package.xml
    Tar,
    TarGzip,
    TarXz
};

// One package of the repository: where it is, what it is (identity,
// version, devices) and what it needs, with what identifies its content.
struct SPackageDescription
{
    std::string strPath; // relative to the repository root, "/"-separated
    EPackageFormat eFormat = EPackageFormat::Directory;
    uint64_t nSize = 0;      // archive: its size; directory: the bytes of its files
    int64_t nModifiedNs = 0; // archive: its modification time; directory: the newest of its files
    std::string strStamp;    // digest of the path, size and modification time of every file
    std::string strDigest;   // "sha256:" + digest of the content; empty until computed

    std::string strPackageID;
    std::string strDisplay;
    std::string strComponentType;
    std::string strVersion; // vendorVersion
    std::vector<SSupportedDevice> vDevices;
    std::vector<std::string> vReleaseDirectories; // named by its dependencies, in order of first use
    std::vector<SDeclaredDependency> vDependencies;

    // What the package puts on a machine: for every supported device, its
    // component ID as a non-PCI identity and each PCI identity, with the
    // package's component type and version, as inventory records a
    // collector would report after the update.
    std::vector<CDeviceInfo> ProvidedIdentities() const;

    static std::string FormatName(EPackageFormat eFormat);
    static bool FormatFromName(const std::string& strName, EPackageFormat& eFormat);
};

#endif // VEXDEP_PACKAGEDESCRIPTION_H
