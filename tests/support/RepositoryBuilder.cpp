#include "RepositoryBuilder.h"

#include "Scenarios.h"
#include "TestSupport.h"

#include <lzma.h>
#include <zlib.h>

#include <cstdio>
#include <cstring>
#include <sstream>
#include <stdexcept>

#include <sys/stat.h>

namespace vextest
{
namespace
{
std::string Octal(unsigned long long nValue, std::size_t nWidth)
{
    char szBuffer[32];
    std::snprintf(szBuffer, sizeof(szBuffer), "%0*llo", static_cast<int>(nWidth - 1), nValue);
    return std::string(szBuffer, nWidth - 1) + std::string(1, '\0');
}

std::string Header(const std::string& strName, char cType, std::size_t nSize, unsigned nMode,
                   const std::string& strLinkName)
{
    std::string strBlock(512, '\0');
    strBlock.replace(0, std::min<std::size_t>(strName.size(), 100), strName.substr(0, 100));
    strBlock.replace(100, 8, Octal(nMode, 8));
    strBlock.replace(108, 8, Octal(0, 8));
    strBlock.replace(116, 8, Octal(0, 8));
    strBlock.replace(124, 12, Octal(nSize, 12));
    strBlock.replace(136, 12, Octal(1793145600, 12));
    strBlock.replace(148, 8, std::string(8, ' '));
    strBlock[156] = cType;
    strBlock.replace(157, std::min<std::size_t>(strLinkName.size(), 100), strLinkName.substr(0, 100));
    strBlock.replace(257, 6, std::string("ustar\0", 6));
    strBlock.replace(263, 2, "00");
    unsigned nSum = 0;
    for (char c : strBlock)
    {
        nSum += static_cast<unsigned char>(c);
    }
    strBlock.replace(148, 8, Octal(nSum, 7) + " ");
    return strBlock;
}

std::string Padded(const std::string& strData)
{
    return strData + std::string((512 - strData.size() % 512) % 512, '\0');
}

std::string PCIAttributes(const std::string& strPCI)
{
    std::vector<std::string> vParts;
    std::istringstream iss(strPCI);
    for (std::string strPart; std::getline(iss, strPart, ':');)
    {
        vParts.push_back(strPart);
    }
    vParts.resize(4);
    return "vendorID=\"" + vParts[0] + "\" deviceID=\"" + vParts[1] + "\" subVendorID=\"" + vParts[2] +
           "\" subDeviceID=\"" + vParts[3] + "\"";
}

std::string Escape(const std::string& strText)
{
    std::string strEscaped;
    for (char c : strText)
    {
        switch (c)
        {
        case '&':
            strEscaped += "&amp;";
            break;
        case '<':
            strEscaped += "&lt;";
            break;
        case '"':
            strEscaped += "&quot;";
            break;
        default:
            strEscaped += c;
        }
    }
    return strEscaped;
}

void CollectEntries(const std::string& strRoot, const std::string& strRelative, std::vector<TarEntry>& vEntries)
{
    for (const std::string& strName : ListDirectory(strRelative.empty() ? strRoot : strRoot + "/" + strRelative))
    {
        const std::string strPath = strRelative.empty() ? strName : strRelative + "/" + strName;
        const std::string strFull = strRoot + "/" + strPath;
        struct stat info;
        lstat(strFull.c_str(), &info);
        TarEntry entry;
        entry.strName = strPath;
        entry.nMode = info.st_mode & 0777;
        if (S_ISDIR(info.st_mode))
        {
            entry.cType = '5';
            vEntries.push_back(entry);
            CollectEntries(strRoot, strPath, vEntries);
            continue;
        }
        entry.strContent = ReadFile(strFull);
        vEntries.push_back(entry);
    }
}
} // namespace

SMBIOSSources MissingSMBIOSSources(const std::string& strDirectory)
{
    SMBIOSSources sources;
    sources.strEntryPointPath = strDirectory + "/missing-entry-point";
    sources.strTablePath = strDirectory + "/missing-table";
    sources.strMemoryDevicePath = strDirectory + "/missing-memory";
    sources.strESXiDevicePath = strDirectory + "/missing-esxi-device";
    return sources;
}

std::string TarArchive(const std::vector<TarEntry>& vEntries)
{
    std::string strArchive;
    for (const TarEntry& entry : vEntries)
    {
        if (entry.strName.size() > 100)
        {
            const std::string strLong = entry.strName + std::string(1, '\0');
            strArchive += Header("././@LongLink", 'L', strLong.size(), 0644, "");
            strArchive += Padded(strLong);
        }
        const bool bData = entry.cType == '0' || entry.cType == '7';
        strArchive +=
            Header(entry.strName, entry.cType, bData ? entry.strContent.size() : 0, entry.nMode, entry.strLinkName);
        if (bData)
        {
            strArchive += Padded(entry.strContent);
        }
    }
    return strArchive + std::string(1024, '\0');
}

std::vector<TarEntry> TarEntriesOf(const std::string& strDirectory)
{
    std::vector<TarEntry> vEntries;
    CollectEntries(strDirectory, "", vEntries);
    return vEntries;
}

std::string Gzip(const std::string& strData)
{
    z_stream z{};
    if (deflateInit2(&z, 9, Z_DEFLATED, 15 + 16, 8, Z_DEFAULT_STRATEGY) != Z_OK)
    {
        throw std::runtime_error("deflateInit2 failed");
    }
    std::string strOut(deflateBound(&z, strData.size()) + 64, '\0');
    z.next_in = reinterpret_cast<Bytef*>(const_cast<char*>(strData.data()));
    z.avail_in = static_cast<uInt>(strData.size());
    z.next_out = reinterpret_cast<Bytef*>(&strOut[0]);
    z.avail_out = static_cast<uInt>(strOut.size());
    deflate(&z, Z_FINISH);
    strOut.resize(z.total_out);
    deflateEnd(&z);
    return strOut;
}

std::string Xz(const std::string& strData)
{
    std::string strOut(lzma_stream_buffer_bound(strData.size()), '\0');
    std::size_t nOut = 0;
    if (lzma_easy_buffer_encode(6, LZMA_CHECK_CRC64, nullptr, reinterpret_cast<const uint8_t*>(strData.data()),
                                strData.size(), reinterpret_cast<uint8_t*>(&strOut[0]), &nOut,
                                strOut.size()) != LZMA_OK)
    {
        throw std::runtime_error("lzma_easy_buffer_encode failed");
    }
    strOut.resize(nOut);
    return strOut;
}

std::string InstalledComponent(const std::string& strComponentID, const std::string& strVersion,
                               const std::string& strType)
{
    return "  <Device componentID=\"" + strComponentID + "\"><Application componentType=\"" + strType +
           "\" version=\"" + strVersion + "\"/></Device>\n";
}

std::string InstalledPCI(const std::string& strPCI, const std::string& strVersion, const std::string& strType)
{
    return "  <Device " + PCIAttributes(strPCI) + "><Application componentType=\"" + strType + "\" version=\"" +
           strVersion + "\"/></Device>\n";
}

std::string MachineInventory(const std::string& strDevices)
{
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<SVMInventory>\n" + strDevices +
           "  <OperatingSystem osVendor=\"Linux\" osArch=\"x86_64\" majorVersion=\"9\" minorVersion=\"2\" "
           "spMajorVersion=\"0\" spMinorVersion=\"0\"/>\n</SVMInventory>\n";
}

std::string MachineComponent(const std::string& strComponentID)
{
    return "  <Device componentID=\"" + strComponentID +
           "\"><Application componentType=\"FRMW\" version=\"1\"/></Device>\n";
}

std::string MachinePCI(const std::string& strPCI)
{
    return "  <Device " + PCIAttributes(strPCI) + "><Application componentType=\"FRMW\" version=\"1\"/></Device>\n";
}

std::string PackageXml(const PackageRecipe& recipe)
{
    std::string strXml = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<SoftwareComponent schemaVersion=\"2.0\" "
                         "packageID=\"P\" vendorVersion=\"" +
                         Escape(recipe.strVersion) + "\">\n  <Name><Display lang=\"en\">" + Escape(recipe.strDisplay) +
                         "</Display></Name>\n  <ComponentType value=\"" + Escape(recipe.strComponentType) +
                         "\"><Display lang=\"en\">T</Display></ComponentType>\n  <SupportedDevices>\n";
    for (std::size_t nDevice = 0; nDevice < recipe.vDevices.size(); ++nDevice)
    {
        const DeviceRecipe& device = recipe.vDevices[nDevice];
        strXml += "    <Device componentID=\"" + Escape(device.strComponentID) +
                  "\">\n      <Display lang=\"en\">Device " + Escape(device.strComponentID) + "</Display>\n";
        for (const std::string& strPCI : device.vPCI)
        {
            strXml += "      <PCIInfo " + PCIAttributes(strPCI) + "/>\n";
        }
        if (nDevice == 0)
        {
            for (const DependencyRecipe& dependency : recipe.vDependencies)
            {
                const std::string strTag = dependency.bSoft ? "SoftDependency" : "Dependency";
                strXml += "      <" + strTag + " componentID=\"" + Escape(dependency.strComponentID) +
                          "\" componentType=\"" + Escape(dependency.strComponentType) + "\" version=\"" +
                          Escape(dependency.strVersion) + "\" path=\"" + Escape(dependency.strPath) +
                          "\" releaseID=\"" + Escape(dependency.strReleaseID) + "\">\n        <Display>" +
                          Escape(dependency.strDisplay.empty() ? "Needs " + dependency.strComponentID
                                                               : dependency.strDisplay) +
                          "</Display>\n";
                if (!dependency.strPCI.empty())
                {
                    strXml += "        <DepPCIInfo " + PCIAttributes(dependency.strPCI) + "/>\n";
                }
                if (!dependency.vPlatforms.empty())
                {
                    strXml += "        <DepBrand>";
                    for (const std::string& strPlatform : dependency.vPlatforms)
                    {
                        strXml += "<DepModel systemID=\"" + strPlatform + "\"/>";
                    }
                    strXml += "</DepBrand>\n";
                }
                if (!dependency.strOS.empty())
                {
                    std::istringstream iss(dependency.strOS);
                    std::string strVendor, strMajor, strMinor;
                    iss >> strVendor >> strMajor >> strMinor;
                    strXml += "        <DepOperatingSystem osVendor=\"" + strVendor +
                              "\" osArch=\"x86_64\" majorVersion=\"" + strMajor + "\" minorVersion=\"" + strMinor +
                              "\" spMajorVersion=\"0\" spMinorVersion=\"0\"/>\n";
                }
                strXml += "      </" + strTag + ">\n";
            }
        }
        strXml += "    </Device>\n";
    }
    return strXml + "  </SupportedDevices>\n</SoftwareComponent>\n";
}

void WritePackage(const std::string& strRepository, const PackageRecipe& recipe)
{
    TempDir staging;
    const std::string strBuild = recipe.eFormat == PackageFormat::Directory
                                     ? (recipe.strPath.empty() ? strRepository : strRepository + "/" + recipe.strPath)
                                     : staging.Path();
    RunCommand({"/bin/mkdir", "-p", strBuild}, "/");
    WriteFile(strBuild + "/package.xml", PackageXml(recipe));
    WriteFile(strBuild + "/payload.bin", "payload of " + recipe.strPath + "\n");
    for (const ReleaseRecipe& release : recipe.vReleases)
    {
        RunCommand({"/bin/mkdir", "-p", strBuild + "/" + release.strReleaseID}, "/");
        WriteFile(strBuild + "/" + release.strReleaseID + "/PIEConfig.xml",
                  PieConfig("collect.sh", "inventory.xml", "30"));
        WriteFile(strBuild + "/" + release.strReleaseID + "/collect.sh",
                  "#!/bin/sh\n[ -n \"$VEXDEP_TEST_RUN_LOG\" ] && echo '" + release.strName +
                      "' >> \"$VEXDEP_TEST_RUN_LOG\"\ncat > inventory.xml <<'EOF'\n<SVMInventory>\n" +
                      release.strInventory + "</SVMInventory>\nEOF\n",
                  true);
    }
    if (recipe.eFormat == PackageFormat::Directory)
    {
        return;
    }
    std::string strArchive = TarArchive(TarEntriesOf(strBuild));
    if (recipe.eFormat == PackageFormat::TarGzip)
    {
        strArchive = Gzip(strArchive);
    }
    else if (recipe.eFormat == PackageFormat::TarXz)
    {
        strArchive = Xz(strArchive);
    }
    const std::string strTarget = strRepository + "/" + recipe.strPath;
    const std::size_t nSlash = strTarget.rfind('/');
    RunCommand({"/bin/mkdir", "-p", strTarget.substr(0, nSlash)}, "/");
    WriteFile(strTarget, strArchive);
}
} // namespace vextest
