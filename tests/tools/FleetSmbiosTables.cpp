// Writes the SMBIOS tables of one test machine as the kernel presents them
// under /sys/firmware/dmi/tables: DIR/smbios_entry_point (a 2.x entry point)
// and DIR/DMI (the table), built with the tests' SMBIOS builder. The fleet
// tests give every managed host its own pair.
//
// Usage: vexfleettables DIR SYSTEM_ID [MANUFACTURER PRODUCT SERIAL]
// SYSTEM_ID is the two-byte system ID in hexadecimal (e.g. 0A1C).

#include "SmbiosBuilder.h"
#include "TestSupport.h"

#include <cstdlib>
#include <iostream>
#include <string>

int main(int argc, char* argv[])
{
    if (argc != 3 && argc != 6)
    {
        std::cerr << "usage: vexfleettables DIR SYSTEM_ID [MANUFACTURER PRODUCT SERIAL]\n";
        return 64;
    }
    const std::string strDirectory = argv[1];
    char* pszEnd = nullptr;
    const unsigned long nSystemId = std::strtoul(argv[2], &pszEnd, 16);
    if (pszEnd == argv[2] || *pszEnd != '\0' || nSystemId == 0 || nSystemId > 0xFFFF)
    {
        std::cerr << "vexfleettables: not a two-byte hexadecimal system ID: " << argv[2] << "\n";
        return 64;
    }
    const std::string strManufacturer = argc == 6 ? argv[3] : "Brix";
    const std::string strProduct = argc == 6 ? argv[4] : "Server R1";
    const std::string strSerial = argc == 6 ? argv[5] : std::string("SN") + argv[2];

    // The single-byte ID 0xFE says that the two-byte ID holds the system ID.
    const std::string strTable =
        vextest::SmbiosTable({vextest::BiosInformationStructure(strManufacturer, "2.19.1"),
                              vextest::SystemInformationStructure(strManufacturer, strProduct, "1", strSerial),
                              vextest::OemStringsStructure({"Brix System", "5[0000]"}),
                              vextest::RevisionStructure(0xFE, static_cast<uint16_t>(nSystemId))});
    vextest::EntryPoint2Options options;
    options.nTableLength = static_cast<uint16_t>(strTable.size());
    options.nTableAddress = 0xF1000;
    options.nStructureCount = 5;
    try
    {
        vextest::WriteFile(strDirectory + "/smbios_entry_point", vextest::SmbiosEntryPoint2(options));
        vextest::WriteFile(strDirectory + "/DMI", strTable);
    }
    catch (const std::exception& error)
    {
        std::cerr << "vexfleettables: " << error.what() << "\n";
        return 73;
    }
    return 0;
}
