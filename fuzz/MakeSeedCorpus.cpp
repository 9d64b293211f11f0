// Writes the seed corpora of the fuzz targets (fuzz/corpus/<target>/) from
// the test fixtures: the sample package, the end-to-end scenarios, the
// bad-package catalogue and SMBIOS data made by the tests' table builder.
//
//   vexfuzzseeds OUTPUT_DIRECTORY
//
// Each target's folder is emptied and written anew, so the corpora in the
// repository always match what this tool makes (make fuzz-seeds).

#include "Catalog.h"
#include "RepositoryBuilder.h"
#include "RepositoryLoader.h"
#include "RepositoryPacker.h"
#include "Scenarios.h"
#include "SmbiosBuilder.h"
#include "TestSupport.h"

#include <cstdio>
#include <map>
#include <set>
#include <string>
#include <unistd.h>
#include <vector>

using namespace vextest;

namespace
{
const std::string kSourceDir = VEXDEP_SOURCE_DIR;

std::string g_strOutput;
std::map<std::string, std::size_t> g_mapCounts;

void ClearDirectory(const std::string& strDirectory)
{
    MakeDirectory(strDirectory);
    for (const std::string& strName : ListDirectory(strDirectory))
    {
        ::unlink((strDirectory + "/" + strName).c_str());
    }
}

std::string SafeName(std::string strName)
{
    for (char& c : strName)
    {
        const bool bKeep = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '-' ||
                           c == '_' || c == '.';
        if (!bKeep)
        {
            c = '_';
        }
    }
    return strName;
}

// Each distinct input once per target: many fixtures share their inventory or
// configuration.
std::map<std::string, std::set<std::string>> g_mapSeen;

void Seed(const std::string& strTarget, const std::string& strName, const std::string& strContent)
{
    if (!g_mapSeen[strTarget].insert(strContent).second)
    {
        return;
    }
    WriteFile(g_strOutput + "/" + strTarget + "/" + SafeName(strName), strContent);
    ++g_mapCounts[strTarget];
}

// The inventory a scenario's collector script writes (between the here-doc
// markers of CollectorScript).
std::string CollectorOutput(const std::string& strScript)
{
    const std::string strStart = "<<'VEXDEP_INVENTORY'\n";
    const std::string::size_type nStart = strScript.find(strStart);
    if (nStart == std::string::npos)
    {
        return std::string();
    }
    const std::string::size_type nBody = nStart + strStart.size();
    const std::string::size_type nEnd = strScript.find("VEXDEP_INVENTORY\n", nBody);
    return nEnd == std::string::npos ? std::string() : strScript.substr(nBody, nEnd - nBody);
}

// A package directory on disk: its package.xml, inv.xml and the
// PIEConfig.xml of every release directory.
struct PackageFiles
{
    std::string strPackage;
    std::string strInventory;
    std::map<std::string, std::string> mapConfigs;
};

PackageFiles ReadPackageDirectory(const std::string& strDirectory)
{
    PackageFiles files;
    if (IsRegularFile(strDirectory + "/package.xml"))
    {
        files.strPackage = ReadFile(strDirectory + "/package.xml");
    }
    if (IsRegularFile(strDirectory + "/inv.xml"))
    {
        files.strInventory = ReadFile(strDirectory + "/inv.xml");
    }
    for (const std::string& strName : ListDirectory(strDirectory))
    {
        const std::string strConfig = strDirectory + "/" + strName + "/PIEConfig.xml";
        if (IsRegularFile(strConfig))
        {
            files.mapConfigs[strName] = ReadFile(strConfig);
        }
    }
    return files;
}

void SeedPackage(const std::string& strName, const PackageFiles& files)
{
    if (!files.strPackage.empty())
    {
        Seed("PackageReaderFuzzer", strName, files.strPackage);
    }
    if (!files.strInventory.empty())
    {
        Seed("InventoryDocumentFuzzer", strName + "-text", std::string(1, '\0') + files.strInventory);
        Seed("InventoryDocumentFuzzer", strName + "-file", std::string(1, '\2') + files.strInventory);
    }
    if (!files.strPackage.empty() || !files.strInventory.empty())
    {
        Seed("EvaluationFuzzer", strName, files.strPackage + std::string(1, '\0') + files.strInventory);
    }
    for (const auto& config : files.mapConfigs)
    {
        Seed("PluginConfigFuzzer", strName + "-" + config.first, std::string(1, '\0') + config.second);
    }
}

void SeedScenarios()
{
    for (const Scenario& scenario : EndToEndScenarios())
    {
        if (scenario.mapFiles.count("@copy") != 0)
        {
            continue;
        }
        PackageFiles files;
        for (const auto& file : scenario.mapFiles)
        {
            if (file.first == "package.xml")
            {
                files.strPackage = file.second;
            }
            else if (file.first == "inv.xml")
            {
                files.strInventory = file.second;
            }
            else if (file.first.size() > 14 && file.first.compare(file.first.size() - 14, 14, "/PIEConfig.xml") == 0)
            {
                files.mapConfigs[file.first.substr(0, file.first.size() - 14)] = file.second;
            }
            else
            {
                const std::string strOutput = CollectorOutput(file.second);
                if (!strOutput.empty())
                {
                    // What a collector writes, read as a file by the
                    // inventory module.
                    const std::string strReleaseDirectory = file.first.substr(0, file.first.rfind('/'));
                    Seed("InventoryDocumentFuzzer",
                         "scenario-" + scenario.strName + "-" + strReleaseDirectory + "-collector-output",
                         std::string(1, '\2') + strOutput);
                }
            }
        }
        SeedPackage("scenario-" + scenario.strName, files);
    }
}

void SeedCatalogue()
{
    const std::string strCatalogue = kSourceDir + "/tests/fixtures/bad";
    std::vector<std::string> vCases;
    for (const std::string& strName : ListDirectory(strCatalogue))
    {
        if (IsDirectory(strCatalogue + "/" + strName))
        {
            vCases.push_back(strName);
        }
    }
    for (const std::string& strCase : vCases)
    {
        const std::string strDirectory = strCatalogue + "/" + strCase + "/package";
        // Very large cases stay out of the corpora: seeds are kept small.
        PackageFiles files = ReadPackageDirectory(strDirectory);
        if (files.strPackage.size() > 16384)
        {
            files.strPackage.clear();
        }
        if (files.strInventory.size() > 16384)
        {
            files.strInventory.clear();
        }
        SeedPackage("bad-" + strCase, files);
    }
}

// The SMBIOS target's header: flags, six query parameters, entry point
// length, the three legacy system-ID bytes.
std::string SmbiosHeader(uint8_t nFlags, uint8_t nType, uint8_t nEntryLength, uint8_t nLegacySingle = 0,
                         uint16_t nLegacyTwo = 0)
{
    std::string strHeader;
    strHeader += static_cast<char>(nFlags);
    strHeader += static_cast<char>(nType);
    strHeader += static_cast<char>(0);    // instance
    strHeader += static_cast<char>(0x3A); // bus
    strHeader += static_cast<char>(0x08); // device/function
    strHeader += static_cast<char>(6);    // offset
    strHeader += static_cast<char>(1);    // length
    strHeader += static_cast<char>(nEntryLength);
    strHeader += static_cast<char>(nLegacySingle);
    strHeader += Le16(nLegacyTwo);
    return strHeader;
}

std::string BrixTable(uint8_t nSingleByteId, uint16_t nTwoByteId)
{
    return SmbiosTable(
        {BiosInformationStructure("Brix", "2.19.1"), SystemInformationStructure("Brix", "Server R1", "1", "SN0001"),
         OemStringsStructure({"Brix System", "26[1]", "5[0000]"}), RevisionStructure(nSingleByteId, nTwoByteId),
         SystemSlotStructure(0x3A, 0x08, 7, {"PCIe Slot 7"}),
         TokenStructure({{0x5C, 0, 0xFE, 0x01}, {0x12, 0, 0xFF, 0x00}})});
}

void SeedSmbios()
{
    const std::string strTarget = "SmbiosFuzzer";
    const std::vector<std::pair<uint8_t, uint16_t>> vIDs = {{0x0B, 0}, {0xFE, 0x07C1}, {0x00, 0}};
    for (const auto& id : vIDs)
    {
        const std::string strTable = BrixTable(id.first, id.second);
        EntryPoint2Options options;
        options.nTableLength = static_cast<uint16_t>(strTable.size());
        options.nTableAddress = 0xF1000;
        const std::string strEntry2 = SmbiosEntryPoint2(options);
        const std::string strSuffix = std::to_string(id.first) + "-" + std::to_string(id.second);

        // sysfs, 2.x and 3.x entry points.
        Seed(strTarget, "sysfs-ep2-" + strSuffix,
             SmbiosHeader(0x00, 208, static_cast<uint8_t>(strEntry2.size())) + strEntry2 + strTable);
        EntryPoint3Options options3;
        options3.nMaxTableSize = static_cast<uint32_t>(strTable.size());
        const std::string strEntry3 = SmbiosEntryPoint3(options3);
        Seed(strTarget, "sysfs-ep3-" + strSuffix,
             SmbiosHeader(0x00, 11, static_cast<uint8_t>(strEntry3.size())) + strEntry3 + strTable);

        // The memory scan: the BIOS area from 0xF0000 with the entry point
        // at 0xF0010 and the table at 0xF1000.
        SmbiosMemoryImage image;
        image.PlaceSmbios(0xF0010, strTable, 0xF1000);
        const std::string strArea = image.Bytes().substr(0xF0000, 0x1000 + strTable.size());
        Seed(strTarget, "memory-" + strSuffix, SmbiosHeader(0x01, 212, 0x1F, 0xFE, 0x07C1) + strArea);

        // The ESXi device: entry point and table behind it.
        EntryPoint2Options optionsESXi = options;
        Seed(strTarget, "esxi-" + strSuffix,
             SmbiosHeader(0x02, 9, 0x1F) + SmbiosESXiDeviceImage(SmbiosEntryPoint2(optionsESXi), strTable));
    }
    // No type-208 structure: the legacy bytes in memory decide.
    {
        const std::string strTable = SmbiosTable({OemStringsStructure({"Brix System"})});
        EntryPoint2Options options;
        options.nTableLength = static_cast<uint16_t>(strTable.size());
        const std::string strEntry2 = SmbiosEntryPoint2(options);
        Seed(strTarget, "sysfs-legacy-single",
             SmbiosHeader(0x08, 11, static_cast<uint8_t>(strEntry2.size()), 0x41) + strEntry2 + strTable);
        Seed(strTarget, "sysfs-legacy-two-byte",
             SmbiosHeader(0x18, 11, static_cast<uint8_t>(strEntry2.size()), 0xFE, 0x07C1) + strEntry2 + strTable);
    }
    // Tables that lie about their lengths, with checksums corrected by the
    // target.
    {
        const std::string strTable = SmbiosTable({SmbiosRawStructure(11, 0xF0, Le16(1), std::string("Brix System")),
                                                  SmbiosRawStructure(208, 2, "", std::string(4, '\0'))},
                                                 false);
        EntryPoint2Options options;
        options.nTableLength = 0xFFFF;
        const std::string strEntry2 = SmbiosEntryPoint2(options);
        Seed(strTarget, "sysfs-lying-lengths",
             SmbiosHeader(0x04, 208, static_cast<uint8_t>(strEntry2.size())) + strEntry2 + strTable);
        Seed(strTarget, "esxi-lying-lengths", SmbiosHeader(0x06, 208, 0x1F) + strEntry2 + strTable);
    }
}

void SeedVersions()
{
    const std::string strTarget = "CompareVersionsFuzzer";
    const std::vector<std::pair<std::string, std::string>> vPairs = {
        {"1.2.3", "1.2.3"},  {"1.2", "1.2.0"},     {"1.2-3", "1.2.3"},
        {"1.10", "1.9"},     {"2.0", "10.0"},      {"1.02", "1.2"},
        {"1..2", "1.2"},     {"A07", "a07"},       {"A07", "A10"},
        {"2.1.0a", "2.1.0"}, {"1.0 ", "1.0"},      {"10", "9"},
        {"", "1"},           {"1+2", "1"},         {"1.0.0.0", "1"},
        {"...", "0"},        {"4-10_2", "4.10.2"}, {"99999999999.1", "1.99999999999"},
    };
    std::size_t n = 0;
    for (const auto& pair : vPairs)
    {
        Seed(strTarget, "pair-" + std::to_string(n++), pair.first + std::string(1, '\0') + pair.second);
    }
}
// The repository reader's target: '\0' and an archive, '\1' and a catalog,
// '\2' and a packed repository.
void SeedRepositories()
{
    const std::string strTarget = "RepositoryReaderFuzzer";
    const std::string strRepository = kSourceDir + "/examples/repository";
    for (const std::string strArchive : {"FOLDER04/BACKPLANE/BP_FW_3.20.0.BIN", "FOLDER04/BACKPLANE/BP_FW_3.15.0.BIN",
                                         "FOLDER09/NIC/NIC_FW_23.0.0.BIN", "FOLDER11/AGENT/mgmt-agent-11.0.0.tar.gz"})
    {
        Seed(strTarget, "example-" + strArchive, std::string(1, '\0') + ReadFile(strRepository + "/" + strArchive));
    }
    const std::string strPackage = "<SoftwareComponent vendorVersion=\"1\"><SupportedDevices><Device componentID=\"1\">"
                                   "<Dependency componentID=\"2\" version=\"2\" releaseID=\"REL\"/></Device>"
                                   "</SupportedDevices></SoftwareComponent>";
    const std::vector<std::pair<std::string, std::vector<TarEntry>>> vArchives = {
        {"long-names",
         {{"package.xml", '0', strPackage, 0644, ""}, {"REL/" + std::string(120, 'n'), '0', "x", 0755, ""}}},
        {"release",
         {{"package.xml", '0', strPackage, 0644, ""},
          {"REL", '5', "", 0755, ""},
          {"REL/PIEConfig.xml", '0', "<PIEConfig/>", 0644, ""},
          {"top.sh", '0', "#!/bin/sh", 0755, ""}}},
        {"dotdot", {{"package.xml", '0', strPackage, 0644, ""}, {"REL/../x", '0', "x", 0644, ""}}},
        {"link", {{"package.xml", '0', strPackage, 0644, ""}, {"REL/l", '2', "", 0777, "/etc/passwd"}}},
        {"twice", {{"package.xml", '0', strPackage, 0644, ""}, {"./package.xml", '0', strPackage, 0644, ""}}},
    };
    for (const auto& archive : vArchives)
    {
        const std::string strTar = TarArchive(archive.second);
        Seed(strTarget, "tar-" + archive.first, std::string(1, '\0') + strTar);
        Seed(strTarget, "gzip-" + archive.first, std::string(1, '\0') + Gzip(strTar));
        Seed(strTarget, "xz-" + archive.first, std::string(1, '\0') + Xz(strTar));
    }
    // The example repository's catalog.
    TempDir work;
    CRepositoryLoader loader(strRepository, work.Path());
    SRepositoryLoad load;
    std::string strError;
    if (loader.Load(CRepositoryScanner::EMode::Fresh, "", true, load, strError))
    {
        SCatalog catalog;
        catalog.strRepository = "examples/repository";
        catalog.vPackages = load.content.vPackages;
        catalog.vRefused = {SRefusedPackage{"bad.tar", "the archive member \"x\" is a symbolic link"}};
        Seed(strTarget, "catalog-example", std::string(1, '\1') + CCatalog::ToText(catalog));
    }
    // The example repository packed, and packed trees that only imply
    // directories, name one twice or put a member below a file.
    std::string strPacked;
    SRepositoryPack pack;
    if (CRepositoryPacker(strRepository).Pack(strPacked, pack, strError) == CRepositoryPacker::EOutcome::Packed)
    {
        Seed(strTarget, "packed-example", std::string(1, '\2') + strPacked);
    }
    const std::vector<std::pair<std::string, std::vector<TarEntry>>> vPackedTrees = {
        {"implied",
         {{"catalog.json", '0', "{}", 0644, ""},
          {"F/A/package.xml", '0', strPackage, 0644, ""},
          {"F/A/REL/PIEConfig.xml", '0', "<PIEConfig/>", 0644, ""}}},
        {"twice", {{"A/package.xml", '0', strPackage, 0644, ""}, {"A/package.xml", '0', strPackage, 0644, ""}}},
        {"below-a-file", {{"A", '0', "x", 0644, ""}, {"A/package.xml", '0', strPackage, 0644, ""}}},
    };
    for (const auto& tree : vPackedTrees)
    {
        Seed(strTarget, "packed-" + tree.first, std::string(1, '\2') + Gzip(TarArchive(tree.second)));
    }
    Seed(strTarget, "catalog-empty",
         std::string(1, '\1') + "{\"schemaVersion\": 1, \"kind\": \"vexinspect-catalog\", \"repository\": \"r\", "
                                "\"packages\": [], \"refused\": []}");
}
} // namespace

int main(int argc, char* argv[])
{
    if (argc != 2)
    {
        std::fprintf(stderr, "usage: %s OUTPUT_DIRECTORY\n", argv[0]);
        return 2;
    }
    g_strOutput = argv[1];
    for (const char* pszTarget :
         {"PackageReaderFuzzer", "InventoryDocumentFuzzer", "PluginConfigFuzzer", "SmbiosFuzzer",
          "CompareVersionsFuzzer", "EvaluationFuzzer", "RepositoryReaderFuzzer"})
    {
        ClearDirectory(g_strOutput + "/" + pszTarget);
    }
    SeedPackage("sample-package", ReadPackageDirectory(kSourceDir + "/examples/package"));
    SeedScenarios();
    SeedCatalogue();
    SeedSmbios();
    SeedVersions();
    SeedRepositories();
    for (const auto& count : g_mapCounts)
    {
        std::printf("%-26s %zu seeds\n", count.first.c_str(), count.second);
    }
    return 0;
}
