#include "PackageDescription.h"

#include <cstring>

CDeviceInfo SDeclaredDependency::AsRecord() const
{
    CDeviceInfo record;
    record.setDependencyType(eType);
    record.setDisplay(strDisplay);
    record.setComponentID(strComponentID);
    record.setComponentType(strComponentType);
    record.setDeviceType(eDeviceType);
    if (eDeviceType == CDeviceInfo::eDeviceTypePCI)
    {
        record.setPCIInfo(pci);
    }
    record.setVersion(strVersion);
    record.setFilePath(strPath);
    record.setReleaseID(strReleaseID);
    record.setDependencyContext(strContext);
    return record;
}

SDeclaredDependency SDeclaredDependency::From(const CDeviceInfo& record)
{
    SDeclaredDependency dependency;
    dependency.eType = record.getDependencyType();
    dependency.strDisplay = record.getDisplay();
    dependency.strComponentID = record.getComponentID();
    dependency.strComponentType = record.getComponentType();
    dependency.eDeviceType = record.getDeviceType();
    if (dependency.eDeviceType == CDeviceInfo::eDeviceTypePCI)
    {
        dependency.pci = record.getPCIInfo();
    }
    dependency.strVersion = record.getVersion();
    // The package path as the report shows it, without the download base.
    CDeviceInfo copy(record);
    dependency.strPath = copy.getFilePath().substr(std::strlen(pszDefaultDownloadBase));
    dependency.strReleaseID = record.getReleaseID();
    dependency.strContext = record.getDependencyContext();
    dependency.vPlatforms = record.getDepenendencyPlatforms();
    dependency.vOperatingSystems = record.getDependencyOS();
    return dependency;
}

std::vector<CDeviceInfo> SPackageDescription::ProvidedIdentities() const
{
    std::vector<CDeviceInfo> vIdentities;
    for (const SSupportedDevice& device : vDevices)
    {
        CDeviceInfo byComponent;
        byComponent.setDeviceType(CDeviceInfo::eDeviceTypeNonPCI);
        byComponent.setComponentID(device.strComponentID);
        byComponent.setComponentType(strComponentType);
        byComponent.setVersion(strVersion);
        byComponent.setDeviceName(device.strDisplay);
        vIdentities.push_back(byComponent);
        for (const SPCIInfo& pci : device.vPCI)
        {
            CDeviceInfo byPCI;
            byPCI.setDeviceType(CDeviceInfo::eDeviceTypePCI);
            byPCI.setPCIInfo(pci);
            byPCI.setComponentType(strComponentType);
            byPCI.setVersion(strVersion);
            byPCI.setDeviceName(device.strDisplay);
            vIdentities.push_back(byPCI);
        }
    }
    return vIdentities;
}

std::string SPackageDescription::FormatName(EPackageFormat eFormat)
{
    switch (eFormat)
    {
    case EPackageFormat::Tar:
        return "tar";
    case EPackageFormat::TarGzip:
        return "tar+gzip";
    case EPackageFormat::TarXz:
        return "tar+xz";
    case EPackageFormat::Directory:
        break;
    }
    return "directory";
}

bool SPackageDescription::FormatFromName(const std::string& strName, EPackageFormat& eFormat)
{
    for (EPackageFormat eCandidate :
         {EPackageFormat::Directory, EPackageFormat::Tar, EPackageFormat::TarGzip, EPackageFormat::TarXz})
    {
        if (FormatName(eCandidate) == strName)
        {
            eFormat = eCandidate;
            return true;
        }
    }
    return false;
}
