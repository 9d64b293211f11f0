#include "Scenarios.h"

#include "DeviceInfo.h"
#include "SmbiosBuilder.h"

#include <algorithm>
#include <stdexcept>

#include <sys/stat.h>

namespace vextest
{
namespace
{
const std::string kHardHeading = "\nThe update process cannot proceed till the following requirements are met.\n";
const std::string kSoftHeading =
    "\nThe updated component requires the following updates to exhibit all the features.\n";
const std::string kFailedClosing =
    "\nThe inventory for a one or more dependent components failed. Please check log file for details.\n";

// What main prints after the report.
const std::string kEnd = " \n";

std::string HardBlock(const std::string& strDisplay, const std::string& strCurrent, const std::string& strRequired,
                      const std::string& strPath)
{
    return strDisplay + "\n\tCurrent  Version     : " + strCurrent + "\n\tRequired Version     : " + strRequired +
           "\n\tVEX DownloadPath     : {BASE}" + strPath + "\n";
}

std::string SoftBlock(const std::string& strDisplay, const std::string& strCurrent, const std::string& strRecommended,
                      const std::string& strDetail, const std::string& strPath)
{
    return strDisplay + "\n\tCurrent  Version     : " + strCurrent + "\n\tRecommended Version  : " + strRecommended +
           "\n\tDetail               : " + strDetail + "\n\tVEX DownloadPath     : {BASE}" + strPath + "\n";
}

std::string ErrorLine(const std::string& strMessage) { return "\n\tError Message         : " + strMessage; }

// A package description around the given Device elements.
std::string Package(const std::string& strDevices)
{
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
           "<SoftwareComponent schemaVersion=\"2.0\" vendorVersion=\"5.0.0\">\n"
           "  <ComponentType value=\"FRMW\"><Display lang=\"en\">Firmware</Display></ComponentType>\n"
           "  <SupportedDevices>\n" +
           strDevices + "  </SupportedDevices>\n</SoftwareComponent>\n";
}

// A supported device known by component ID only.
std::string NonPCIDevice(const std::string& strComponentID, const std::string& strDependencies)
{
    return "    <Device componentID=\"" + strComponentID + "\">\n      <Display>Device " + strComponentID +
           "</Display>\n" + strDependencies + "    </Device>\n";
}

// A supported device with a PCI identity.
std::string PCIDevice(const std::string& strComponentID, const std::string& strDeviceID,
                      const std::string& strDependencies)
{
    return "    <Device componentID=\"" + strComponentID + "\">\n      <Display>Device " + strComponentID +
           "</Display>\n      <PCIInfo vendorID=\"1B4A\" deviceID=\"" + strDeviceID +
           "\" subVendorID=\"1F0C\" subDeviceID=\"0001\"/>\n" + strDependencies + "    </Device>\n";
}

// A dependency element: its tag, attributes and children.
std::string Dep(const std::string& strTag, const std::string& strAttributes, const std::string& strChildren)
{
    return "      <" + strTag + " " + strAttributes + ">" + strChildren + "</" + strTag + ">\n";
}

std::string Attributes(const std::string& strComponentID, const std::string& strVersion,
                       const std::string& strReleaseID, const std::string& strPath, const std::string& strType = "FRMW")
{
    return "componentID=\"" + strComponentID + "\" componentType=\"" + strType + "\" version=\"" + strVersion +
           "\" path=\"" + strPath + "\" releaseID=\"" + strReleaseID + "\"";
}

std::string Display(const std::string& strText) { return "<Display>" + strText + "</Display>"; }
std::string Detail(const std::string& strText) { return "<Detail>" + strText + "</Detail>"; }

std::string OS(const std::string& strVendor, const std::string& strMajor, const std::string& strMinor)
{
    return "<DepOperatingSystem osVendor=\"" + strVendor + "\" osArch=\"x86_64\" majorVersion=\"" + strMajor +
           "\" minorVersion=\"" + strMinor + "\" spMajorVersion=\"0\" spMinorVersion=\"0\"/>";
}

std::string Platforms(const std::vector<std::string>& vSystemIDs)
{
    std::string strModels;
    for (const std::string& strID : vSystemIDs)
    {
        strModels += "<DepModel systemID=\"" + strID + "\"/>";
    }
    return "<DepBrand>" + strModels + "</DepBrand>";
}

std::string InventoryDocument(const std::string& strBody) { return "<SVMInventory>\n" + strBody + "</SVMInventory>\n"; }

std::string Installed(const std::string& strComponentID, const std::string& strVersion,
                      const std::string& strType = "FRMW")
{
    return "  <Device componentID=\"" + strComponentID + "\"><Application componentType=\"" + strType +
           "\" version=\"" + strVersion + "\"/></Device>\n";
}

std::string InstalledPCI(const std::string& strVendor, const std::string& strDevice, const std::string& strSubVendor,
                         const std::string& strSubDevice, const std::string& strVersion)
{
    return "  <Device vendorID=\"" + strVendor + "\" deviceID=\"" + strDevice + "\" subVendorID=\"" + strSubVendor +
           "\" subDeviceID=\"" + strSubDevice + "\"><Application componentType=\"FRMW\" version=\"" + strVersion +
           "\"/></Device>\n";
}

std::string FailedInventory(const std::string& strMessage)
{
    return InventoryDocument("  <SPStatus result=\"false\"><Message>" + strMessage + "</Message></SPStatus>\n");
}

// The machine: device 500 by component ID, device 600 by PCI identity, and
// the running operating system.
const std::string kMachine = InventoryDocument(
    "  <Device componentID=\"500\" display=\"Enclosure\"><Application componentType=\"FRMW\" version=\"1.0\"/>"
    "</Device>\n"
    "  <Device vendorID=\"1B4A\" deviceID=\"0010\" subVendorID=\"1F0C\" subDeviceID=\"0001\" display=\"Controller\">"
    "<Application componentType=\"FRMW\" version=\"2.0\"/></Device>\n"
    "  <OperatingSystem osVendor=\"Linux\" osArch=\"x86_64\" majorVersion=\"9\" minorVersion=\"2\" "
    "spMajorVersion=\"0\" spMinorVersion=\"0\" osBuildNum=\"5.14\"/>\n");

ScenarioRun Run(std::vector<std::string> vArgs, int nStatus, std::string strStdout, std::string strStderr = "")
{
    return ScenarioRun{std::move(vArgs), nStatus, std::move(strStdout), std::move(strStderr)};
}

ScenarioRun Nothing(std::vector<std::string> vArgs) { return Run(std::move(vArgs), 255, ""); }

Scenario MakeScenario(const std::string& strName, const std::string& strPackage, const std::string& strMachine)
{
    Scenario scenario;
    scenario.strName = strName;
    scenario.mapFiles["package.xml"] = strPackage;
    if (!strMachine.empty())
    {
        scenario.mapFiles["inv.xml"] = strMachine;
    }
    return scenario;
}

std::vector<Scenario> BuildCatalogue()
{
    std::vector<Scenario> vScenarios;

    // Met, unmet and failed dependencies of three release directories in one
    // report; hard and soft runs of the same package.
    {
        Scenario s = MakeScenario(
            "met-unmet-failed",
            Package(NonPCIDevice(
                "500", Dep("Dependency", Attributes("101", "2.0", "RA", "A\\a.bin"), Display("Unmet A")) +
                           Dep("Dependency", Attributes("102", "1.0", "RB", "B\\b.bin"), Display("Failed B")) +
                           Dep("Dependency", Attributes("103", "1.5", "RC", "C\\c.bin"), Display("Met C")) +
                           Dep("SoftDependency", Attributes("104", "3.1", "RA", "D\\d.tgz", "DRVR"),
                               Display("Soft D") + Detail("needed for the new modes")))),
            kMachine);
        AddRelease(s, "RA", InventoryDocument(Installed("101", "1.9") + Installed("104", "3.0.9", "DRVR")));
        AddRelease(s, "RB", FailedInventory("collector could not reach the device"));
        AddRelease(s, "RC", InventoryDocument(Installed("103", "1.5.0")));
        s.vRuns.push_back(Run({"hard"}, 1,
                              kHardHeading + HardBlock("Unmet A", "1.9", "2.0", "A/a.bin") +
                                  HardBlock("Failed B", "Failed", "1.0", "B/b.bin") + kFailedClosing + kEnd,
                              ErrorLine("collector could not reach the device")));
        s.vRuns.push_back(
            Run({"soft"}, 2,
                kSoftHeading + SoftBlock("Soft D", "3.0.9", "3.1", "needed for the new modes", "D/d.tgz") + kEnd));
        vScenarios.push_back(s);
    }

    // Soft report of a failed inventory; two failed records give one
    // closing sentence; empty display name; package path with backslashes.
    {
        Scenario s = MakeScenario(
            "soft-failed-twice",
            Package(NonPCIDevice("500", Dep("SoftDependency", Attributes("201", "2.0", "RF", "F1\\sub\\f.tgz"),
                                            Display("First") + Detail("first detail")) +
                                            Dep("SoftDependency", Attributes("202", "2.0", "RF", "F2\\g.tgz"),
                                                Detail("second detail")))),
            kMachine);
        AddRelease(s, "RF", FailedInventory("inventory tool crashed"));
        s.vRuns.push_back(Run({"soft"}, 2,
                              kSoftHeading + SoftBlock("First", "Failed", "2.0", "first detail", "F1/sub/f.tgz") +
                                  SoftBlock("", "Failed", "2.0", "second detail", "F2/g.tgz") + kFailedClosing + kEnd,
                              ErrorLine("inventory tool crashed") + ErrorLine("inventory tool crashed")));
        // Run with hard: only soft dependencies, no lookup, nothing to report.
        s.vRuns.push_back(Nothing({"hard"}));
        vScenarios.push_back(s);
    }

    // The command line.
    {
        Scenario s = MakeScenario(
            "command-line",
            Package(NonPCIDevice("500", Dep("Dependency", Attributes("301", "2.0", "R1", "h.bin"), Display("Hard X")) +
                                            Dep("SoftDependency", Attributes("302", "2.0", "R1", "s.bin"),
                                                Display("Soft Y") + Detail("d")))),
            kMachine);
        AddRelease(s, "R1", InventoryDocument(Installed("301", "1.0") + Installed("302", "1.0")));
        const std::string strHard = kHardHeading + HardBlock("Hard X", "1.0", "2.0", "h.bin") + kEnd;
        const std::string strSoft = kSoftHeading + SoftBlock("Soft Y", "1.0", "2.0", "d", "s.bin") + kEnd;
        s.vRuns.push_back(Run({}, 255, "Invalid parameters"));
        s.vRuns.push_back(Nothing({"HARD"}));
        s.vRuns.push_back(Nothing({"Hard"}));
        s.vRuns.push_back(Nothing({"har"}));
        s.vRuns.push_back(Nothing({"hardx"}));
        s.vRuns.push_back(Nothing({"hard "}));
        s.vRuns.push_back(Nothing({"SOFT"}));
        s.vRuns.push_back(Nothing({"softer"}));
        s.vRuns.push_back(Nothing({""}));
        s.vRuns.push_back(Nothing({"update"}));
        s.vRuns.push_back(Nothing({"HARD", "hard"}));
        s.vRuns.push_back(Run({"hard"}, 1, strHard));
        s.vRuns.push_back(Run({"soft"}, 2, strSoft));
        s.vRuns.push_back(Run({"soft", "hard", "extra"}, 2, strSoft));
        s.vRuns.push_back(Run({"hard", "soft"}, 1, strHard));
        vScenarios.push_back(s);
    }

    // Nothing declared, no package description, no inventory text.
    {
        Scenario s = MakeScenario("nothing-declared", Package(NonPCIDevice("500", "")), kMachine);
        s.vRuns.push_back(Nothing({"hard"}));
        s.vRuns.push_back(Nothing({"soft"}));
        vScenarios.push_back(s);
    }
    {
        Scenario s;
        s.strName = "no-package-description";
        s.mapFiles["inv.xml"] = kMachine;
        s.vRuns.push_back(Nothing({"hard"}));
        s.vRuns.push_back(Nothing({"soft"}));
        // The dependency query reads the description without looking for
        // it first: the XML library says it cannot load it.
        for (ScenarioRun& run : s.vRuns)
        {
            run.strStderr = "I/O warning : failed to load external entity \"{PACKAGE}/package.xml\"\n";
        }
        vScenarios.push_back(s);
    }
    {
        // Without "inv.xml" no device is present: nothing applies.
        Scenario s = MakeScenario(
            "no-inventory-text",
            Package(NonPCIDevice("500", Dep("Dependency", Attributes("401", "2.0", "R1", "x.bin"), Display("X")))), "");
        AddRelease(s, "R1", InventoryDocument(Installed("401", "1.0")));
        s.vRuns.push_back(Nothing({"hard"}));
        vScenarios.push_back(s);
    }

    // Contexts: "ALL" and "OS" in any case apply, others never.
    {
        Scenario s = MakeScenario(
            "contexts",
            Package(NonPCIDevice(
                "500",
                Dep("Dependency", Attributes("501", "2.0", "R1", "a.bin") + " context=\"all\"", Display("All lower")) +
                    Dep("Dependency", Attributes("502", "2.0", "R1", "b.bin") + " context=\"os\"",
                        Display("OS lower")) +
                    Dep("Dependency", Attributes("503", "2.0", "R1", "c.bin") + " context=\"PREOS\"",
                        Display("Pre-OS")) +
                    Dep("Dependency", Attributes("504", "2.0", "R1", "d.bin") + " context=\"OS ALL\"",
                        Display("Two words")) +
                    Dep("Dependency", Attributes("505", "2.0", "R1", "e.bin"), Display("Default context")))),
            kMachine);
        AddRelease(s, "R1",
                   InventoryDocument(Installed("501", "1") + Installed("502", "1") + Installed("503", "1") +
                                     Installed("504", "1") + Installed("505", "1")));
        s.vRuns.push_back(Run({"hard"}, 1,
                              kHardHeading + HardBlock("All lower", "1", "2.0", "a.bin") +
                                  HardBlock("OS lower", "1", "2.0", "b.bin") +
                                  HardBlock("Default context", "1", "2.0", "e.bin") + kEnd));
        vScenarios.push_back(s);
    }

    // Operating systems: no entry, a matching one, the second of two, one
    // that matches only through the version rule, none matching.
    {
        Scenario s = MakeScenario(
            "operating-systems",
            Package(
                NonPCIDevice("500", Dep("Dependency", Attributes("601", "2.0", "R1", "a.bin"), Display("No OS entry")) +
                                        Dep("Dependency", Attributes("602", "2.0", "R1", "b.bin"),
                                            Display("Matching") + OS("Linux", "9", "2")) +
                                        Dep("Dependency", Attributes("603", "2.0", "R1", "c.bin"),
                                            Display("Second matches") + OS("Linux", "8", "8") + OS("LINUX", "9", "2")) +
                                        Dep("Dependency", Attributes("604", "2.0", "R1", "d.bin"),
                                            Display("Version rule") + OS("linux", "9.0", "02")) +
                                        Dep("Dependency", Attributes("605", "2.0", "R1", "e.bin"),
                                            Display("Other OS") + OS("Windows", "10", "0")) +
                                        Dep("Dependency", Attributes("606", "2.0", "R1", "f.bin"),
                                            Display("Other release") + OS("Linux", "9", "3")))),
            kMachine);
        AddRelease(s, "R1",
                   InventoryDocument(Installed("601", "1") + Installed("602", "1") + Installed("603", "1") +
                                     Installed("604", "1") + Installed("605", "1") + Installed("606", "1")));
        s.vRuns.push_back(Run({"hard"}, 1,
                              kHardHeading + HardBlock("No OS entry", "1", "2.0", "a.bin") +
                                  HardBlock("Matching", "1", "2.0", "b.bin") +
                                  HardBlock("Second matches", "1", "2.0", "c.bin") +
                                  HardBlock("Version rule", "1", "2.0", "d.bin") + kEnd));
        vScenarios.push_back(s);
    }

    // Parent devices: PCI and non-PCI, present and absent; dependencies that
    // are PCI devices themselves (one record per identity); identities
    // written with and without 0x and in other letter case.
    {
        Scenario s = MakeScenario(
            "parent-devices",
            Package(
                NonPCIDevice("500", Dep("Dependency", Attributes("701", "2.0", "R1", "a.bin"),
                                        Display("Non-PCI parent present"))) +
                NonPCIDevice("501", Dep("Dependency", Attributes("702", "2.0", "R1", "b.bin"),
                                        Display("Non-PCI parent absent"))) +
                PCIDevice("600", "0010",
                          Dep("Dependency", Attributes("703", "2.0", "R1", "c.bin"), Display("PCI parent present")) +
                              Dep("Dependency",
                                  "componentType=\"FRMW\" version=\"9.1\" path=\"n.bin\" releaseID=\"R1\"",
                                  Display("PCI dependency") +
                                      "<DepPCIInfo vendorID=\"8A8A\" deviceID=\"00ff\" subVendorID=\"1F0C\" "
                                      "subDeviceID=\"0002\"/>"
                                      "<DepPCIInfo vendorID=\"8A8A\" deviceID=\"0100\" subVendorID=\"1F0C\" "
                                      "subDeviceID=\"0002\"/>")) +
                PCIDevice("601", "0011",
                          Dep("Dependency", Attributes("704", "2.0", "R1", "d.bin"), Display("PCI parent absent")))),
            kMachine);
        AddRelease(s, "R1",
                   InventoryDocument(Installed("701", "1") + Installed("702", "1") + Installed("703", "1") +
                                     Installed("704", "1") + InstalledPCI("0x8a8a", "0xFF", "1f0c", "2", "9.0.5")));
        s.vRuns.push_back(Run({"hard"}, 1,
                              kHardHeading + HardBlock("Non-PCI parent present", "1", "2.0", "a.bin") +
                                  HardBlock("PCI parent present", "1", "2.0", "c.bin") +
                                  HardBlock("PCI dependency", "9.0.5", "9.1", "n.bin") + kEnd));
        vScenarios.push_back(s);
    }

    // Platforms: this machine is 0x0b.
    {
        const std::string strDeps =
            Dep("Dependency", Attributes("801", "2.0", "R1", "a.bin"),
                Display("For this platform") + Platforms({"0A", "0b"})) +
            Dep("Dependency", Attributes("802", "2.0", "R1", "b.bin"),
                Display("For other platforms") + Platforms({"0B", "0c"})) +
            Dep("Dependency", Attributes("803", "2.0", "R1", "c.bin"), Display("For every platform"));
        const std::string strInventory =
            InventoryDocument(Installed("801", "1") + Installed("802", "1") + Installed("803", "1"));

        Scenario s = MakeScenario("platform-single-byte", Package(NonPCIDevice("500", strDeps)), kMachine);
        AddRelease(s, "R1", strInventory);
        s.firmware = BrixFirmware(0x0B);
        s.vRuns.push_back(Run({"hard"}, 1,
                              kHardHeading + HardBlock("For this platform", "1", "2.0", "a.bin") +
                                  HardBlock("For every platform", "1", "2.0", "c.bin") + kEnd));
        vScenarios.push_back(s);

        // Without any SMBIOS source the platform check is passed over.
        Scenario absent = s;
        absent.strName = "platform-no-smbios";
        absent.firmware = Firmware::NoTables();
        absent.vRuns = {Run({"hard"}, 1,
                            kHardHeading + HardBlock("For this platform", "1", "2.0", "a.bin") +
                                HardBlock("For other platforms", "1", "2.0", "b.bin") +
                                HardBlock("For every platform", "1", "2.0", "c.bin") + kEnd)};
        vScenarios.push_back(absent);
    }
    {
        // A two-byte system ID is written in upper case with four digits.
        Scenario s =
            MakeScenario("platform-two-byte",
                         Package(NonPCIDevice("500", Dep("Dependency", Attributes("811", "2.0", "R1", "a.bin"),
                                                         Display("Upper") + Platforms({"07C1"})) +
                                                         Dep("Dependency", Attributes("812", "2.0", "R1", "b.bin"),
                                                             Display("Lower") + Platforms({"07c1"})))),
                         kMachine);
        AddRelease(s, "R1", InventoryDocument(Installed("811", "1") + Installed("812", "1")));
        s.firmware = BrixFirmware(0xFE, 0x07C1);
        s.vRuns.push_back(Run({"hard"}, 1, kHardHeading + HardBlock("Upper", "1", "2.0", "a.bin") + kEnd));
        vScenarios.push_back(s);

        // The physical-memory fallback writes the same ID in lower case.
        Scenario memory = s;
        memory.strName = "platform-memory";
        SmbiosMemoryImage image;
        image.PlaceSmbios(0xF0010,
                          SmbiosTable({OemStringsStructure({"Brix System"}),
                                       SystemInformationStructure("Brix", "Server", "1", "SN1")}),
                          0xF1000);
        image.SetSingleByteSystemId(0xFE);
        image.SetTwoByteSystemId(0x07C1);
        memory.firmware = Firmware::FromMemory(image.Bytes());
        memory.vRuns = {Run({"hard"}, 1, kHardHeading + HardBlock("Lower", "1", "2.0", "b.bin") + kEnd)};
        vScenarios.push_back(memory);
    }
    {
        // A machine whose system ID only physical memory gives (0x0B, single
        // byte), and a dependency for another platform: nothing applies.
        Scenario s = MakeScenario("platform-memory-single-byte",
                                  Package(NonPCIDevice("500", Dep("Dependency", Attributes("821", "2.0", "R1", "a.bin"),
                                                                  Display("For platform 0C") + Platforms({"0C"})))),
                                  kMachine);
        AddRelease(s, "R1", InventoryDocument(Installed("821", "1")));
        SmbiosMemoryImage image;
        image.PlaceSmbios(0xF0010,
                          SmbiosTable({OemStringsStructure({"Brix System"}),
                                       SystemInformationStructure("Brix", "Server", "1", "SN1")}),
                          0xF1000);
        image.SetSingleByteSystemId(0x0B);
        s.firmware = Firmware::FromMemory(image.Bytes());
        s.vRuns.push_back(Nothing({"hard"}));
        vScenarios.push_back(s);
    }

    // A processing instruction named like a dependency's PCI child counts as
    // one: the dependency becomes a PCI dependency (with an empty identity),
    // which no installed non-PCI component matches, so it is not reported.
    {
        Scenario s = MakeScenario(
            "instruction-named-like-a-child",
            Package(
                NonPCIDevice("500", Dep("Dependency", Attributes("831", "2.0", "R1", "a.bin"),
                                        Display("Named like PCIInfo") + "<?DepPCIInfo?>") +
                                        Dep("Dependency", Attributes("832", "2.0", "R1", "b.bin"), Display("Plain")))),
            kMachine);
        AddRelease(s, "R1", InventoryDocument(Installed("831", "1") + Installed("832", "1")));
        s.vRuns.push_back(Run({"hard"}, 1, kHardHeading + HardBlock("Plain", "1", "2.0", "b.bin") + kEnd));
        vScenarios.push_back(s);
    }

    // Dependencies keep the package order in the report, whatever the
    // order of the inventory; one shared collector serves them all.
    {
        Scenario s = MakeScenario(
            "package-order",
            Package(
                NonPCIDevice("500", Dep("Dependency", Attributes("903", "3", "R1", "c"), Display("Third ID first")) +
                                        Dep("Dependency", Attributes("901", "3", "R1", "a"), Display("First ID")) +
                                        Dep("Dependency", Attributes("902", "3", "R1", "b"), Display("Second ID")))),
            kMachine);
        AddRelease(s, "R1", InventoryDocument(Installed("901", "1") + Installed("902", "2") + Installed("903", "2.9")));
        s.vRuns.push_back(Run({"hard"}, 1,
                              kHardHeading + HardBlock("Third ID first", "2.9", "3", "c") +
                                  HardBlock("First ID", "1", "3", "a") + HardBlock("Second ID", "2", "3", "b") + kEnd));
        vScenarios.push_back(s);
    }

    // Versions with letters are compared as text; several installed
    // instances: the last older one is shown.
    {
        Scenario s = MakeScenario(
            "version-rules",
            Package(
                NonPCIDevice("500", Dep("Dependency", Attributes("951", "A10", "R1", "a"), Display("Letters")) +
                                        Dep("Dependency", Attributes("952", "9", "R1", "b"), Display("Nine")) +
                                        Dep("Dependency", Attributes("953", "2.0", "R1", "c"), Display("Several")))),
            kMachine);
        AddRelease(s, "R1",
                   InventoryDocument(Installed("951", "a07") + Installed("952", "10a") + Installed("953", "1.5") +
                                     Installed("953", "2.5") + Installed("953", "1.8")));
        s.vRuns.push_back(Run({"hard"}, 1,
                              kHardHeading + HardBlock("Letters", "a07", "A10", "a") +
                                  HardBlock("Nine", "10a", "9", "b") + HardBlock("Several", "1.8", "2.0", "c") + kEnd));
        vScenarios.push_back(s);
    }

    // A collector that outlives its declared time limit: waited for and read
    // as usual; with the time-limit guard on, ended, and its dependencies
    // fail.
    {
        Scenario s = MakeScenario(
            "collector-slower-than-its-limit",
            Package(NonPCIDevice("500", Dep("Dependency", Attributes("981", "2.0", "RT", "t.bin"), Display("Slow")))),
            kMachine);
        s.mapFiles["RT/PIEConfig.xml"] = PieConfig("collect.sh", "inventory.xml", "1");
        s.mapFiles["RT/collect.sh"] = "#!/bin/sh\necho run >> runs.log\nsleep 2\ncat > inventory.xml <<'INVENTORY'\n" +
                                      InventoryDocument(Installed("981", "1.5")) + "\nINVENTORY\n";
        s.vRuns.push_back(Run({"hard"}, 1, kHardHeading + HardBlock("Slow", "1.5", "2.0", "t.bin") + kEnd));
        vScenarios.push_back(s);

        Scenario guarded = s;
        guarded.strName = "collector-timeout";
        guarded.vEnvironment = {"VEXDEP_COLLECTOR_TIMEOUT=config"};
        guarded.mapFiles["RT/collect.sh"] = "#!/bin/sh\necho run >> runs.log\nexec sleep 600\n";
        guarded.vRuns = {Run({"hard"}, 1,
                             kHardHeading + HardBlock("Slow", "Failed", "2.0", "t.bin") + kFailedClosing + kEnd,
                             ErrorLine("Inventory collector timed out after 1 seconds"))};
        vScenarios.push_back(guarded);

        Scenario fixed = s;
        fixed.strName = "collector-guard-fixed";
        fixed.vEnvironment = {"VEXDEP_COLLECTOR_TIMEOUT=1"};
        fixed.mapFiles["RT/PIEConfig.xml"] = PieConfig("collect.sh", "inventory.xml", "600");
        fixed.mapFiles["RT/collect.sh"] = "#!/bin/sh\necho run >> runs.log\nexec sleep 600\n";
        fixed.vRuns = {Run({"hard"}, 1,
                           kHardHeading + HardBlock("Slow", "Failed", "2.0", "t.bin") + kFailedClosing + kEnd,
                           ErrorLine("Inventory collector timed out after 1 seconds"))};
        vScenarios.push_back(fixed);
    }

    // The sample package of the repository.
    {
        Scenario s;
        s.strName = "sample-package";
        s.mapFiles["@copy"] = VEXDEP_SOURCE_DIR "/examples/package";
        s.vRuns.push_back(Run(
            {"hard"}, 1,
            kHardHeading +
                HardBlock("Storage Backplane Firmware", "3.10.0", "3.20.0", "FOLDER04/BACKPLANE/BP_FW_3.20.0.BIN") +
                HardBlock("Network Adapter Firmware", "22.0.9", "22.1.4", "FOLDER09/NIC/NIC_FW_22.1.4.BIN") + kEnd));
        s.vRuns.push_back(Run({"soft"}, 2,
                              kSoftHeading +
                                  SoftBlock("Storage Controller Driver", "7.3.0", "7.4.2",
                                            "The write-back cache modes need driver 7.4.2 or later.",
                                            "FOLDER07/DRIVER/storage-driver-7.4.2.tar.gz") +
                                  SoftBlock("Systems Management Agent", "10.5.2", "11.0.0",
                                            "Enclosure events are reported by agent 11 or later.",
                                            "FOLDER11/AGENT/mgmt-agent-11.0.0.tar.gz") +
                                  kEnd));
        vScenarios.push_back(s);
    }
    return vScenarios;
}

void CopyTree(const std::string& strFrom, const std::string& strTo)
{
    const CommandResult result = RunCommand({"/bin/cp", "-R", strFrom + "/.", strTo}, "/");
    if (result.nExitStatus != 0)
    {
        throw std::runtime_error("cannot copy " + strFrom + ": " + result.strStderr);
    }
}
} // namespace

std::string PieConfig(const std::string& strCommand, const std::string& strOutput, const std::string& strTimeout)
{
    return "<?xml version=\"1.0\"?>\n<PIEConfig><Plugins>"
           "<Plugin description=\"Inventory\" type=\"0\" timeout=\"" +
           strTimeout + "\"><CliToFile><Command>" + strCommand + "</Command><Output>" + strOutput +
           "</Output></CliToFile></Plugin></Plugins></PIEConfig>\n";
}

std::string CollectorScript(const std::string& strInventory)
{
    return "#!/bin/sh\necho run >> runs.log\ncat > inventory.xml <<'VEXDEP_INVENTORY'\n" + strInventory +
           "VEXDEP_INVENTORY\n";
}

void AddRelease(Scenario& scenario, const std::string& strReleaseID, const std::string& strInventory,
                const std::string& strTimeout)
{
    scenario.mapFiles[strReleaseID + "/PIEConfig.xml"] = PieConfig("collect.sh", "inventory.xml", strTimeout);
    scenario.mapFiles[strReleaseID + "/collect.sh"] = CollectorScript(strInventory);
}

Firmware BrixFirmware(uint8_t nSingleByteId, uint16_t nTwoByteId)
{
    const std::string strTable = SmbiosTable(
        {BiosInformationStructure("Brix", "2.19.1"), SystemInformationStructure("Brix", "Server R1", "1", "SN0001"),
         OemStringsStructure({"Brix System", "5[0000]"}), RevisionStructure(nSingleByteId, nTwoByteId)});
    EntryPoint2Options options;
    options.nTableLength = static_cast<uint16_t>(strTable.size());
    options.nTableAddress = 0xF1000;
    return Firmware::FromSysfs(SmbiosEntryPoint2(options), strTable);
}

const std::vector<Scenario>& EndToEndScenarios()
{
    static const std::vector<Scenario> vScenarios = BuildCatalogue();
    return vScenarios;
}

void PrintTo(const ScenarioRunRef& runRef, std::ostream* pStream)
{
    *pStream << runRef.strScenario << " run " << runRef.nRun;
}

std::string ScenarioRunName(const ScenarioRunRef& runRef)
{
    std::string strName = runRef.strScenario + "_" + std::to_string(runRef.nRun);
    std::replace(strName.begin(), strName.end(), '-', '_');
    return strName;
}

std::vector<ScenarioRunRef> CatalogueRuns(bool bPlainTypeOnly)
{
    std::vector<ScenarioRunRef> vRuns;
    for (const Scenario& scenario : EndToEndScenarios())
    {
        for (std::size_t n = 0; n < scenario.vRuns.size(); ++n)
        {
            const std::vector<std::string>& vArgs = scenario.vRuns[n].vArgs;
            if (!bPlainTypeOnly || (vArgs.size() == 1 && (vArgs[0] == "hard" || vArgs[0] == "soft")))
            {
                vRuns.push_back(ScenarioRunRef{scenario.strName, n});
            }
        }
    }
    return vRuns;
}

const Scenario& FindScenario(const std::string& strName)
{
    for (const Scenario& scenario : EndToEndScenarios())
    {
        if (scenario.strName == strName)
        {
            return scenario;
        }
    }
    throw std::runtime_error("no scenario named " + strName);
}

void WriteScenario(const Scenario& scenario, const std::string& strDirectory)
{
    for (const auto& file : scenario.mapFiles)
    {
        if (file.first == "@copy")
        {
            CopyTree(file.second, strDirectory);
            continue;
        }
        const std::string strPath = strDirectory + "/" + file.first;
        const std::string::size_type nSlash = file.first.rfind('/');
        if (nSlash != std::string::npos)
        {
            MakeDirectory(strDirectory + "/" + file.first.substr(0, nSlash));
        }
        const bool bScript = file.first.size() > 3 && file.first.compare(file.first.size() - 3, 3, ".sh") == 0;
        WriteFile(strPath, file.second, bScript);
    }
}

std::vector<std::string> WithEnvironment(const Scenario& scenario, const std::vector<std::string>& vCommand)
{
    if (scenario.vEnvironment.empty())
    {
        return vCommand;
    }
    std::vector<std::string> vWith = {"/usr/bin/env"};
    vWith.insert(vWith.end(), scenario.vEnvironment.begin(), scenario.vEnvironment.end());
    vWith.insert(vWith.end(), vCommand.begin(), vCommand.end());
    return vWith;
}

std::string ExpandBase(const std::string& strText)
{
    std::string strResult = strText;
    const std::string strPlaceholder = "{BASE}";
    for (std::string::size_type nAt = strResult.find(strPlaceholder); nAt != std::string::npos;
         nAt = strResult.find(strPlaceholder, nAt))
    {
        strResult.replace(nAt, strPlaceholder.size(), pszDefaultDownloadBase);
        nAt += std::string(pszDefaultDownloadBase).size();
    }
    return strResult;
}
} // namespace vextest
