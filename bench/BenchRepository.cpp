#include "BenchRepository.h"

#include "BenchFiles.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>
#include <sstream>
#include <string>
#include <vector>

#include <sys/stat.h>

namespace
{
struct SRepositoryOptions
{
    std::string strOut;
    long nPackages = 2000;
    long nDepth = 6;
};

bool Write(const std::string& strPath, const std::string& strText, bool bExecutable = false)
{
    return WriteBenchFile(strPath, strText, bExecutable);
}

struct SFile
{
    std::string strPath;
    std::string strContent;
    bool bExecutable;
};

std::string Component(long nChain, long nLink, long nDepth) { return std::to_string(100000 + nChain * nDepth + nLink); }

std::string PackagePath(long nChain, long nLink, long nDepth)
{
    char szChain[64];
    std::snprintf(szChain, sizeof(szChain), "CHAIN%04ld/P%ld", nChain, nLink);
    switch ((nChain * nDepth + nLink) % 10)
    {
    case 7:
        return std::string(szChain) + ".tar";
    case 8:
        return std::string(szChain) + ".tar.gz";
    case 9:
        return std::string(szChain) + ".tar.xz";
    default:
        return szChain;
    }
}

// What a chain's collectors report: its components, installed at 1.0.
std::string ChainInventory(long nChain, long nDepth)
{
    std::ostringstream oss;
    oss << "<SVMInventory>\n";
    for (long nLink = 0; nLink < nDepth; ++nLink)
    {
        oss << "  <Device componentID=\"" << Component(nChain, nLink, nDepth)
            << "\"><Application componentType=\"FRMW\" version=\"1.0\"/></Device>\n";
    }
    return oss.str() + "</SVMInventory>\n";
}

// The files of a package of a chain of nLength packages (the last chain may
// be shorter than the others).
std::vector<SFile> PackageFiles(long nChain, long nLink, long nDepth, const std::string& strTarget, long nLength = 0)
{
    nLength = nLength > 0 ? nLength : nDepth;
    const bool bTarget = !strTarget.empty();
    std::ostringstream ossPackage;
    ossPackage << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<SoftwareComponent schemaVersion=\"2.0\" "
                  "vendorVersion=\""
               << (bTarget ? "9.0" : "2.0") << "\">\n  <Name><Display lang=\"en\">"
               << (bTarget ? std::string("Package to install") : "Component " + Component(nChain, nLink, nDepth))
               << "</Display></Name>\n  <ComponentType value=\"FRMW\"><Display lang=\"en\">Firmware</Display>"
                  "</ComponentType>\n  <SupportedDevices>\n    <Device componentID=\""
               << (bTarget ? strTarget : Component(nChain, nLink, nDepth)) << "\">\n      <Display>Device</Display>\n";
    const long nNext = bTarget ? 0 : nLink + 1;
    if (nNext < nLength)
    {
        std::string strPath = PackagePath(nChain, nNext, nDepth);
        for (char& c : strPath)
        {
            c = c == '/' ? '\\' : c;
        }
        ossPackage << "      <Dependency componentID=\"" << Component(nChain, nNext, nDepth)
                   << "\" componentType=\"FRMW\" version=\"2.0\" path=\"" << strPath
                   << "\" releaseID=\"INV\">\n        <Display>Component " << Component(nChain, nNext, nDepth)
                   << "</Display>\n      </Dependency>\n";
    }
    ossPackage << "    </Device>\n  </SupportedDevices>\n</SoftwareComponent>\n";
    std::vector<SFile> vFiles = {{"package.xml", ossPackage.str(), false},
                                 {"payload.bin", std::string(4096, static_cast<char>('a' + nLink)), false}};
    if (nNext < nLength)
    {
        vFiles.push_back({"INV/PIEConfig.xml",
                          "<?xml version=\"1.0\"?>\n<PIEConfig>\n  <Plugins>\n"
                          "    <Plugin description=\"Inventory\" type=\"0\" timeout=\"120\">\n"
                          "      <CliToFile><Command>collect.sh</Command><Output>inventory.xml</Output></CliToFile>\n"
                          "    </Plugin>\n  </Plugins>\n</PIEConfig>\n",
                          false});
        vFiles.push_back({"INV/collect.sh",
                          "#!/bin/sh\n# The collector of " +
                              (bTarget ? std::string("the package to install") : PackagePath(nChain, nLink, nDepth)) +
                              "\ncat > inventory.xml <<'EOF'\n" + ChainInventory(nChain, nDepth) + "EOF\n",
                          true});
    }
    return vFiles;
}

bool WriteDirectory(const std::string& strDirectory, const std::vector<SFile>& vFiles)
{
    mkdir(strDirectory.c_str(), 0755);
    mkdir((strDirectory + "/INV").c_str(), 0755);
    for (const SFile& file : vFiles)
    {
        if (!Write(strDirectory + "/" + file.strPath, file.strContent, file.bExecutable))
        {
            return false;
        }
    }
    return true;
}

// Compresses the files with one run of the command per hundred files.
bool Compress(const std::string& strCommand, const std::vector<std::string>& vFiles)
{
    for (std::size_t nAt = 0; nAt < vFiles.size(); nAt += 100)
    {
        std::string strLine = strCommand;
        for (std::size_t n = nAt; n < std::min(vFiles.size(), nAt + 100); ++n)
        {
            strLine += " '" + vFiles[n] + "'";
        }
        if (std::system(strLine.c_str()) != 0)
        {
            std::cerr << "vexbench: " << strCommand << " failed\n";
            return false;
        }
    }
    return true;
}
} // namespace

int GenerateRepository(int argc, char* argv[])
{
    SRepositoryOptions options;
    for (int i = 2; i + 1 < argc; i += 2)
    {
        const std::string strOption = argv[i];
        if (strOption == "--out")
            options.strOut = argv[i + 1];
        else if (strOption == "-n")
            options.nPackages = std::atol(argv[i + 1]);
        else if (strOption == "--depth")
            options.nDepth = std::atol(argv[i + 1]);
        else
            return 2;
    }
    if (options.strOut.empty() || options.nDepth < 1 || options.nPackages < options.nDepth)
    {
        std::cerr << "usage: vexbench repository --out DIR [-n N] [--depth D]\n";
        return 2;
    }
    const std::string strRepository = options.strOut + "/repository";
    mkdir(options.strOut.c_str(), 0755);
    mkdir(strRepository.c_str(), 0755);
    const long nChains = (options.nPackages + options.nDepth - 1) / options.nDepth;
    std::vector<std::string> vGzip;
    std::vector<std::string> vXz;
    std::ostringstream ossMachine;
    ossMachine << "<?xml version=\"1.0\"?>\n<SVMInventory>\n  <Device componentID=\"99999\"/>\n";
    for (long nChain = 0; nChain < nChains; ++nChain)
    {
        char szChain[64];
        std::snprintf(szChain, sizeof(szChain), "/CHAIN%04ld", nChain);
        mkdir((strRepository + szChain).c_str(), 0755);
        const long nLength = std::min(options.nDepth, options.nPackages - nChain * options.nDepth);
        for (long nLink = 0; nLink < nLength; ++nLink)
        {
            ossMachine << "  <Device componentID=\"" << Component(nChain, nLink, options.nDepth) << "\"/>\n";
            const std::string strPath = strRepository + "/" + PackagePath(nChain, nLink, options.nDepth);
            const std::vector<SFile> vFiles = PackageFiles(nChain, nLink, options.nDepth, "", nLength);
            const std::size_t nDot = strPath.find(".tar");
            if (nDot == std::string::npos)
            {
                if (!WriteDirectory(strPath, vFiles))
                {
                    return 1;
                }
                continue;
            }
            // The archive: the package's directory, packed by tar.
            const std::string strTar = strPath.substr(0, nDot + 4);
            const std::string strStaging = strTar + ".d";
            if (!WriteDirectory(strStaging, vFiles) ||
                std::system(("tar --format=ustar --owner=0 --group=0 --numeric-owner -cf '" + strTar + "' -C '" +
                             strStaging + "' . && rm -r '" + strStaging + "'")
                                .c_str()) != 0)
            {
                std::cerr << "vexbench: cannot pack " << strTar << "\n";
                return 1;
            }
            if (strPath.size() > nDot + 4)
            {
                (strPath.compare(nDot, 7, ".tar.gz") == 0 ? vGzip : vXz).push_back(strTar);
            }
        }
    }
    ossMachine << "  <OperatingSystem osVendor=\"Linux\" osArch=\"x86_64\" majorVersion=\"9\" minorVersion=\"2\" "
                  "spMajorVersion=\"0\" spMinorVersion=\"0\"/>\n</SVMInventory>\n";
    if (!Compress("gzip -n -f", vGzip) || !Compress("xz -f -T1", vXz))
    {
        return 1;
    }

    // The package to install: a device of the machine, and the top of the
    // first chain.
    const std::string strTarget = options.strOut + "/target";
    if (!WriteDirectory(strTarget, PackageFiles(0, 0, options.nDepth, "99999")) ||
        !Write(strTarget + "/inv.xml", ossMachine.str()))
    {
        return 1;
    }

    // The collectors the plan runs: the target's and those of the first
    // chain's packages that declare a dependency.
    std::string strBaseline = "#!/bin/sh\n# The collectors a plan of target/ runs, once each.\nset -e\n"
                              "work=$(mktemp -d \"${TMPDIR:-/tmp}/vexbench-collectors-XXXXXX\")\n"
                              "trap 'rm -rf \"$work\"' EXIT\n";
    auto addCollector = [&strBaseline](const std::string& strName, const std::vector<SFile>& vFiles) {
        for (const SFile& file : vFiles)
        {
            if (file.strPath == "INV/collect.sh")
            {
                strBaseline += "mkdir \"$work/" + strName + "\"\ncat > \"$work/" + strName +
                               "/collect.sh\" <<'VEXBENCH'\n" + file.strContent + "VEXBENCH\n(cd \"$work/" + strName +
                               "\" && sh ./collect.sh)\n";
            }
        }
    };
    addCollector("target", PackageFiles(0, 0, options.nDepth, "99999"));
    for (long nLink = 0; nLink < options.nDepth; ++nLink)
    {
        addCollector("P" + std::to_string(nLink), PackageFiles(0, nLink, options.nDepth, ""));
    }
    return Write(options.strOut + "/baseline.sh", strBaseline, true) ? 0 : 1;
}
