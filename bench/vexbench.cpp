// vexbench: synthetic update packages for measuring the checker, and a
// small timer that reports wall time and peak resident memory of a command.
//
//   vexbench generate --out DIR [-n N] [-r R] [-d D] [-m M]
//                     [--apply SHARE] [--unmet SHARE] [--fail SHARE] [--seed S]
//   vexbench measure [--runs K] [--cwd DIR] -- COMMAND [ARGS...]
//   vexbench repository --out DIR [-n N] [--depth D]   (see BenchRepository.h)
//
// generate writes a package with N dependency elements spread over R
// release directories (each with a collector that copies a prepared
// inventory document of D devices to its output), an inv.xml of M devices,
// and baseline.sh (the same collectors one after another, then xmllint of
// every document). SHARE values are fractions of the dependencies: those
// that apply to the machine, those of them that are unmet, and those whose
// release directory reports a failed inventory.
//
// measure runs the command K times and prints the median wall time in
// seconds, the median peak resident memory in KiB and the median processor
// time (user and system, the command's waited-for children included) in
// seconds, separated by blanks.

#include "BenchFiles.h"
#include "BenchRepository.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iostream>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace
{
struct GenerateOptions
{
    std::string strOut;
    long nDependencies = 1000;
    long nReleases = 100;
    long nDevicesPerRelease = 100;
    long nMachineDevices = 1000;
    double dApply = 0.8;
    double dUnmet = 0.5;
    double dFail = 0.05;
    unsigned nSeed = 1;
};

int Usage()
{
    std::cerr << "usage: vexbench generate --out DIR [-n N] [-r R] [-d D] [-m M] [--apply SHARE] [--unmet SHARE]"
                 " [--fail SHARE] [--seed S]\n"
                 "       vexbench measure [--runs K] [--cwd DIR] -- COMMAND [ARGS...]\n"
                 "       vexbench repository --out DIR [-n N] [--depth D]\n";
    return 2;
}

bool WriteText(const std::string& strPath, const std::string& strText, bool bExecutable = false)
{
    return WriteBenchFile(strPath, strText, bExecutable);
}

std::string ReleaseName(long nRelease)
{
    char szName[32];
    std::snprintf(szName, sizeof(szName), "REL%05ld", nRelease);
    return szName;
}

// Machine device i: non-PCI devices carry a component ID, every fourth one
// is a PCI device.
bool IsPCIMachineDevice(long nIndex) { return nIndex % 4 == 3; }

std::string PCIAttributes(long nIndex)
{
    char szAttributes[160];
    std::snprintf(szAttributes, sizeof(szAttributes),
                  "vendorID=\"1B4A\" deviceID=\"%04lX\" subVendorID=\"1F0C\" subDeviceID=\"%04lX\"",
                  (nIndex / 65536) & 0xFFFF, nIndex & 0xFFFF);
    return szAttributes;
}

int Generate(const GenerateOptions& options)
{
    if (options.strOut.empty() || options.nDependencies < 0 || options.nReleases < 1 ||
        options.nDevicesPerRelease < 1 || options.nMachineDevices < 1)
    {
        return Usage();
    }
    mkdir(options.strOut.c_str(), 0755);
    std::mt19937 random(options.nSeed);
    std::uniform_real_distribution<double> share(0.0, 1.0);

    // Which release directories report a failed inventory.
    std::vector<bool> vReleaseFails(static_cast<std::size_t>(options.nReleases));
    for (long r = 0; r < options.nReleases; ++r)
    {
        vReleaseFails[static_cast<std::size_t>(r)] = share(random) < options.dFail;
    }

    // Release directories: configuration, collector, prepared inventory.
    std::string strBaseline = "#!/bin/sh\n# The collectors one after another, then every document parsed once.\n";
    for (long r = 0; r < options.nReleases; ++r)
    {
        const std::string strName = ReleaseName(r);
        const std::string strDir = options.strOut + "/" + strName;
        mkdir(strDir.c_str(), 0755);
        std::ostringstream ossInventory;
        ossInventory << "<?xml version=\"1.0\"?>\n<SVMInventory>\n";
        for (long d = 0; d < options.nDevicesPerRelease; ++d)
        {
            ossInventory << "  <Device componentID=\"" << (100000 + d) << "\" display=\"Component " << d
                         << "\">\n    <Application componentType=\"FRMW\" version=\"2." << (d % 7)
                         << ".0\" display=\"Firmware " << d << "\"/>\n  </Device>\n";
        }
        if (vReleaseFails[static_cast<std::size_t>(r)])
        {
            ossInventory << "  <SPStatus result=\"false\"><Message>inventory of " << strName
                         << " failed</Message></SPStatus>\n";
        }
        ossInventory << "</SVMInventory>\n";
        if (!WriteText(strDir + "/prepared.xml", ossInventory.str()) ||
            !WriteText(strDir + "/PIEConfig.xml",
                       "<?xml version=\"1.0\"?>\n<PIEConfig>\n  <Plugins>\n"
                       "    <Plugin description=\"Inventory\" type=\"0\" timeout=\"120\">\n"
                       "      <CliToFile><Command>collect.sh</Command><Output>inventory.xml</Output></CliToFile>\n"
                       "    </Plugin>\n  </Plugins>\n</PIEConfig>\n") ||
            !WriteText(strDir + "/collect.sh", "#!/bin/sh\ncp prepared.xml inventory.xml\n", true))
        {
            return 1;
        }
        strBaseline += "(cd " + strName + " && ./collect.sh)\n";
    }
    strBaseline += "xmllint --noout package.xml inv.xml REL*/inventory.xml\n";
    if (!WriteText(options.strOut + "/baseline.sh", strBaseline, true))
    {
        return 1;
    }

    // The machine.
    std::ostringstream ossMachine;
    ossMachine << "<?xml version=\"1.0\"?>\n<SVMInventory>\n";
    for (long m = 0; m < options.nMachineDevices; ++m)
    {
        if (IsPCIMachineDevice(m))
        {
            ossMachine << "  <Device " << PCIAttributes(m) << " display=\"Adapter " << m << "\">\n";
        }
        else
        {
            ossMachine << "  <Device componentID=\"" << (200000 + m) << "\" display=\"Device " << m << "\">\n";
        }
        ossMachine << "    <Application componentType=\"FRMW\" version=\"1.0\"/>\n  </Device>\n";
    }
    ossMachine << "  <OperatingSystem osVendor=\"Linux\" osArch=\"x86_64\" majorVersion=\"9\" minorVersion=\"2\" "
                  "spMajorVersion=\"0\" spMinorVersion=\"0\" osBuildNum=\"5.14\"/>\n</SVMInventory>\n";
    if (!WriteText(options.strOut + "/inv.xml", ossMachine.str()))
    {
        return 1;
    }

    // The package: one supported device per ten dependencies; a device that
    // applies names one of the machine's devices, the others a device the
    // machine does not have.
    std::ostringstream ossPackage;
    ossPackage << "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
                  "<SoftwareComponent schemaVersion=\"2.0\" vendorVersion=\"1.0.0\">\n"
                  "  <ComponentType value=\"FRMW\"><Display lang=\"en\">Firmware</Display></ComponentType>\n"
                  "  <SupportedDevices>\n";
    const long nPerDevice = 10;
    for (long nFirst = 0; nFirst < options.nDependencies; nFirst += nPerDevice)
    {
        const long nDevice = nFirst / nPerDevice;
        const bool bApplies = share(random) < options.dApply;
        const long nMachine = nDevice % options.nMachineDevices;
        if (bApplies && IsPCIMachineDevice(nMachine))
        {
            ossPackage << "    <Device componentID=\"" << (300000 + nDevice) << "\">\n      <Display>Adapter "
                       << nDevice << "</Display>\n      <PCIInfo " << PCIAttributes(nMachine) << "/>\n";
        }
        else
        {
            ossPackage << "    <Device componentID=\"" << (bApplies ? 200000 + nMachine : 900000 + nDevice)
                       << "\">\n      <Display>Device " << nDevice << "</Display>\n";
        }
        for (long j = nFirst; j < std::min(nFirst + nPerDevice, options.nDependencies); ++j)
        {
            const long nRelease = j % options.nReleases;
            const long nComponent = (j / options.nReleases) % options.nDevicesPerRelease;
            const bool bUnmet = share(random) < options.dUnmet;
            // Installed versions are 2.x.0: 9.0 is newer than any, 1.0 older.
            const char* pszVersion = bUnmet ? "9.0" : "1.0";
            const bool bSoft = j % 5 == 4;
            ossPackage << "      <" << (bSoft ? "SoftDependency" : "Dependency") << " componentID=\""
                       << (100000 + nComponent) << "\" componentType=\"FRMW\" version=\"" << pszVersion
                       << "\" path=\"FOLDER" << j << "\\PKG" << j << ".BIN\" releaseID=\"" << ReleaseName(nRelease)
                       << "\">\n        <Display>Dependency " << j << "</Display>\n"
                       << "        <Detail>Detail of dependency " << j << "</Detail>\n"
                       << "        <DepOperatingSystem osVendor=\"Linux\" osArch=\"x86_64\" majorVersion=\"9\" "
                          "minorVersion=\"2\" spMajorVersion=\"0\" spMinorVersion=\"0\"/>\n"
                       << "      </" << (bSoft ? "SoftDependency" : "Dependency") << ">\n";
        }
        ossPackage << "    </Device>\n";
    }
    ossPackage << "  </SupportedDevices>\n</SoftwareComponent>\n";
    return WriteText(options.strOut + "/package.xml", ossPackage.str()) ? 0 : 1;
}

int Measure(int nRuns, const std::string& strCwd, char** ppszCommand)
{
    std::vector<double> vSeconds;
    std::vector<long> vRSS;
    std::vector<double> vCPU;
    for (int nRun = 0; nRun < nRuns; ++nRun)
    {
        const auto tStart = std::chrono::steady_clock::now();
        const pid_t nPid = fork();
        if (nPid == 0)
        {
            if (!strCwd.empty() && chdir(strCwd.c_str()) != 0)
            {
                _exit(126);
            }
            // The checker's report and messages are not part of the measure.
            if (std::freopen("/dev/null", "w", stdout) == nullptr || std::freopen("/dev/null", "w", stderr) == nullptr)
            {
                _exit(126);
            }
            execvp(ppszCommand[0], ppszCommand);
            _exit(127);
        }
        int nStatus = 0;
        rusage usage;
        if (nPid < 0 || wait4(nPid, &nStatus, 0, &usage) < 0)
        {
            std::cerr << "vexbench: cannot run " << ppszCommand[0] << "\n";
            return 1;
        }
        vSeconds.push_back(std::chrono::duration<double>(std::chrono::steady_clock::now() - tStart).count());
        vRSS.push_back(usage.ru_maxrss);
        vCPU.push_back(static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
                       static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6);
        if (WIFEXITED(nStatus) && (WEXITSTATUS(nStatus) == 126 || WEXITSTATUS(nStatus) == 127))
        {
            std::cerr << "vexbench: " << ppszCommand[0] << " could not be started\n";
            return 1;
        }
    }
    std::sort(vSeconds.begin(), vSeconds.end());
    std::sort(vRSS.begin(), vRSS.end());
    std::sort(vCPU.begin(), vCPU.end());
    std::printf("%.4f %ld %.4f\n", vSeconds[vSeconds.size() / 2], vRSS[vRSS.size() / 2], vCPU[vCPU.size() / 2]);
    return 0;
}
} // namespace

int main(int argc, char* argv[])
{
    if (argc < 2)
    {
        return Usage();
    }
    const std::string strCommand = argv[1];
    if (strCommand == "generate")
    {
        GenerateOptions options;
        for (int i = 2; i + 1 < argc; i += 2)
        {
            const std::string strOption = argv[i];
            const char* pszValue = argv[i + 1];
            if (strOption == "--out")
                options.strOut = pszValue;
            else if (strOption == "-n")
                options.nDependencies = std::atol(pszValue);
            else if (strOption == "-r")
                options.nReleases = std::atol(pszValue);
            else if (strOption == "-d")
                options.nDevicesPerRelease = std::atol(pszValue);
            else if (strOption == "-m")
                options.nMachineDevices = std::atol(pszValue);
            else if (strOption == "--apply")
                options.dApply = std::atof(pszValue);
            else if (strOption == "--unmet")
                options.dUnmet = std::atof(pszValue);
            else if (strOption == "--fail")
                options.dFail = std::atof(pszValue);
            else if (strOption == "--seed")
                options.nSeed = static_cast<unsigned>(std::atol(pszValue));
            else
                return Usage();
        }
        if (argc % 2 != 0)
        {
            return Usage();
        }
        return Generate(options);
    }
    if (strCommand == "repository")
    {
        return GenerateRepository(argc, argv);
    }
    if (strCommand == "measure")
    {
        int nRuns = 5;
        std::string strCwd;
        int i = 2;
        for (; i < argc && std::strcmp(argv[i], "--") != 0; i += 2)
        {
            if (i + 1 >= argc)
                return Usage();
            if (std::strcmp(argv[i], "--runs") == 0)
                nRuns = std::max(1, std::atoi(argv[i + 1]));
            else if (std::strcmp(argv[i], "--cwd") == 0)
                strCwd = argv[i + 1];
            else
                return Usage();
        }
        if (i + 1 >= argc)
        {
            return Usage();
        }
        return Measure(nRuns, strCwd, argv + i + 1);
    }
    return Usage();
}
