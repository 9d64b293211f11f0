#include "SmbiosSummary.h"

#include "JsonFormat.h"
#include "TextFormat.h"

#include <sstream>

namespace
{
// Structure types: 0 to 255; the walk ends at type 127, which is therefore
// never counted.
const unsigned int kStructureTypes = 256;

// The revision structure and where the checker reads the system ID in it.
const int kRevisionType = 208;
const unsigned int kSingleByteIdOffset = 6;
const unsigned int kTwoByteIdOffset = 8;
const unsigned char kTwoByteIdMarker = 0xFE;

// The 32-bit entry point versions that dmidecode replaces, and by what.
struct SVersionFixup
{
    unsigned int nMajor;
    unsigned int nMinor;
    unsigned int nFixedMinor;
};
const SVersionFixup kVersionFixups[] = {{2, 31, 3}, {2, 33, 3}, {2, 51, 6}};

const SVersionFixup* FindVersionFixup(const SSmbiosSummary& summary)
{
    if (summary.bEntryPoint64Bit)
    {
        return nullptr;
    }
    for (const SVersionFixup& fixup : kVersionFixups)
    {
        if (fixup.nMajor == summary.nEntryPointMajor && fixup.nMinor == summary.nEntryPointMinor)
        {
            return &fixup;
        }
    }
    return nullptr;
}

// The width of the labels of the text form.
const std::size_t kLabelWidth = 20;

std::string Label(const std::string& strLabel) { return textformat::Label(strLabel, kLabelWidth); }
} // namespace

SSmbiosSummary CSmbiosSummary::Read(const SMBIOSSources& sources, const std::string& strDumpFile)
{
    SSmbiosSummary summary;
    summary.strDumpFile = strDumpFile;
    CSMBIOSInventory inventory(sources);
    summary.bTableRead = inventory.Initialize() != 0;
    if (strDumpFile.empty())
    {
        summary.vSourcesTried = CSmbiosSourceAttempts::Find(sources, summary.bTableRead, inventory.GetTableSource());
    }
    if (!summary.bTableRead)
    {
        return summary;
    }
    summary.eSource = inventory.GetTableSource();
    summary.nEntryPointMajor = inventory.GetEntryPointMajorVersion();
    summary.nEntryPointMinor = inventory.GetEntryPointMinorVersion();
    summary.bEntryPoint64Bit = inventory.IsEntryPoint64Bit();
    summary.nEntryPointDocRevision = inventory.GetEntryPointDocRevision();
    summary.strBiosVendor = inventory.GetVendorName();
    summary.strBiosVersion = inventory.GetBiosVersion();
    summary.strManufacturer = inventory.GetManufacturerName();
    summary.strProductName = inventory.GetProductName();
    summary.strSerialNumber = inventory.GetSerialNumber();
    unsigned int nMajor = 0;
    unsigned int nMinor = 0;
    EffectiveVersion(summary, nMajor, nMinor);
    summary.system = CSmbiosSystemInformation::Read(inventory, nMajor, nMinor);
    inventory.getOEMStringsFromTable(&summary.vOEMStrings, 0);
    for (unsigned int nType = 0; nType < kStructureTypes; ++nType)
    {
        const int nCount = inventory.GetDeviceCountMatchingStructNumber(nType);
        if (nCount > 0)
        {
            summary.vStructureCounts.emplace_back(nType, nCount);
        }
    }
    summary.strSystemID = inventory.GetSystemID();
    summary.eSystemIdOrigin = inventory.GetSystemIdOrigin();

    int nRevisionLength = 0;
    unsigned char* pRevision = nullptr;
    if (inventory.getSMBIOSStruct(&nRevisionLength, &pRevision, kRevisionType, 0) != 0 && pRevision != nullptr)
    {
        // The walk only offers structures whose formatted area lies inside
        // the table, so the bytes below nRevisionLength can be read.
        summary.bRevisionStructure = true;
        summary.nRevisionLength = static_cast<unsigned int>(nRevisionLength);
        summary.bRevisionTooShort =
            summary.nRevisionLength <= kSingleByteIdOffset ||
            (summary.nRevisionLength < kTwoByteIdOffset + 2 && pRevision[kSingleByteIdOffset] == kTwoByteIdMarker);
    }
    return summary;
}

std::string CSmbiosSummary::SourceKey(const SSmbiosSummary& summary)
{
    return SourceKey(summary.eSource, !summary.strDumpFile.empty());
}

std::string CSmbiosSummary::SourceKey(CSMBIOSInventory::eTableSource eSource, bool bFromDump)
{
    switch (eSource)
    {
    case CSMBIOSInventory::eTableSourceSysfs:
        // A dump reaches the reader through the two files of the sysfs export.
        return bFromDump ? "dump-file" : "sysfs";
    case CSMBIOSInventory::eTableSourceMemoryScan:
        return "memory-scan";
    case CSMBIOSInventory::eTableSourceESXiDevice:
        return "esxi-device";
    case CSMBIOSInventory::eTableSourceNone:
        break;
    }
    return "none";
}

std::string CSmbiosSummary::EntryPointVersion(unsigned int nMajor, unsigned int nMinor)
{
    if (nMajor == 0 && nMinor == 0)
    {
        return std::string();
    }
    return std::to_string(nMajor) + "." + std::to_string(nMinor);
}

std::string CSmbiosSummary::DisplayedVersion(const SSmbiosSummary& summary)
{
    if (summary.bEntryPoint64Bit)
    {
        return std::to_string(summary.nEntryPointMajor) + "." + std::to_string(summary.nEntryPointMinor) + "." +
               std::to_string(summary.nEntryPointDocRevision);
    }
    const SVersionFixup* pFixup = FindVersionFixup(summary);
    if (pFixup != nullptr)
    {
        return EntryPointVersion(pFixup->nMajor, pFixup->nFixedMinor);
    }
    return EntryPointVersion(summary.nEntryPointMajor, summary.nEntryPointMinor);
}

std::string CSmbiosSummary::VersionFixupNote(const SSmbiosSummary& summary)
{
    const SVersionFixup* pFixup = FindVersionFixup(summary);
    if (pFixup == nullptr)
    {
        return std::string();
    }
    return "SMBIOS version fixup (" + EntryPointVersion(pFixup->nMajor, pFixup->nMinor) + " -> " +
           EntryPointVersion(pFixup->nMajor, pFixup->nFixedMinor) + ").";
}

void CSmbiosSummary::EffectiveVersion(const SSmbiosSummary& summary, unsigned int& nMajor, unsigned int& nMinor)
{
    nMajor = summary.nEntryPointMajor;
    nMinor = summary.nEntryPointMinor;
    const SVersionFixup* pFixup = FindVersionFixup(summary);
    if (pFixup != nullptr)
    {
        nMinor = pFixup->nFixedMinor;
    }
}

bool CSmbiosSummary::DeniedToThisUser(const SSmbiosSummary& summary)
{
    return !summary.bTableRead && CSmbiosSourceAttempts::AnyDenied(summary.vSourcesTried);
}

std::vector<std::string> CSmbiosSummary::AttemptTexts(const SSmbiosSummary& summary)
{
    std::vector<std::string> vTexts;
    for (const SSmbiosSourceAttempt& attempt : summary.vSourcesTried)
    {
        if (!attempt.bUsed)
        {
            vTexts.push_back(attempt.strPath + ": " + attempt.strFailure);
        }
    }
    return vTexts;
}

std::string CSmbiosSummary::OriginKey(CSMBIOSInventory::eSystemIdOrigin eOrigin)
{
    switch (eOrigin)
    {
    case CSMBIOSInventory::eSystemIdNotRead:
        return "not-read";
    case CSMBIOSInventory::eSystemIdNotMakerSystem:
        return "not-maker-system";
    case CSMBIOSInventory::eSystemIdRevisionSingleByte:
        return "revision-single-byte";
    case CSMBIOSInventory::eSystemIdRevisionTwoByte:
        return "revision-two-byte";
    case CSMBIOSInventory::eSystemIdRevisionTwoByteMissing:
        return "revision-two-byte-missing";
    case CSMBIOSInventory::eSystemIdMemorySingleByte:
        return "memory-single-byte";
    case CSMBIOSInventory::eSystemIdMemoryTwoByte:
        return "memory-two-byte";
    case CSMBIOSInventory::eSystemIdMemoryUnavailable:
        return "memory-unavailable";
    }
    return "not-read";
}

std::string CSmbiosSummary::OriginText(CSMBIOSInventory::eSystemIdOrigin eOrigin)
{
    switch (eOrigin)
    {
    case CSMBIOSInventory::eSystemIdNotRead:
        return "not read";
    case CSMBIOSInventory::eSystemIdNotMakerSystem:
        return std::string("the first OEM string is not \"") + BrixOEMName + "\"";
    case CSMBIOSInventory::eSystemIdRevisionSingleByte:
        return "from the revision structure (type 208), single byte";
    case CSMBIOSInventory::eSystemIdRevisionTwoByte:
        return "from the revision structure (type 208), two-byte ID behind the marker 0xFE";
    case CSMBIOSInventory::eSystemIdRevisionTwoByteMissing:
        return "the revision structure (type 208) has the marker 0xFE but no two-byte ID";
    case CSMBIOSInventory::eSystemIdMemorySingleByte:
        return "no revision structure; from physical memory at 0xFE845, the byte as a character";
    case CSMBIOSInventory::eSystemIdMemoryTwoByte:
        return "no revision structure; from physical memory at 0xFE840, two bytes";
    case CSMBIOSInventory::eSystemIdMemoryUnavailable:
        return "no revision structure, and physical memory gives none";
    }
    return "not read";
}

std::string CSmbiosSummary::TooShortOriginText(CSMBIOSInventory::eSystemIdOrigin eOrigin,
                                               unsigned int nShortRevisionLength)
{
    const std::string strTooShort = "revision structure (type 208) too short to hold a system ID (formatted length " +
                                    std::to_string(nShortRevisionLength) + ")";
    // Below offset 7 even the marker is taken from behind the structure.
    const bool bMarkerBehind = nShortRevisionLength <= kSingleByteIdOffset;
    const std::string strMarker = bMarkerBehind ? "the marker 0xFE at offset 6 is taken from the bytes behind it"
                                                : "it has the marker 0xFE";
    const std::string strTableEnds = ", and the table ends before the byte at offset 6: physical-memory fallback";
    switch (eOrigin)
    {
    case CSMBIOSInventory::eSystemIdNotRead:
    case CSMBIOSInventory::eSystemIdNotMakerSystem:
        break;
    case CSMBIOSInventory::eSystemIdRevisionSingleByte:
        return strTooShort + ": the single byte at offset 6 is taken from the bytes behind it";
    case CSMBIOSInventory::eSystemIdRevisionTwoByte:
        return strTooShort + ": " + strMarker + ", and the two-byte ID at offset 8 is taken from the bytes behind it";
    case CSMBIOSInventory::eSystemIdRevisionTwoByteMissing:
        return strTooShort + ": " + strMarker + ", and the table ends before the two-byte ID at offset 8: empty ID";
    case CSMBIOSInventory::eSystemIdMemorySingleByte:
        return strTooShort + strTableEnds + ", the byte at 0xFE845 as a character";
    case CSMBIOSInventory::eSystemIdMemoryTwoByte:
        return strTooShort + strTableEnds + ", two bytes at 0xFE840";
    case CSMBIOSInventory::eSystemIdMemoryUnavailable:
        return strTooShort + strTableEnds + ", which gives none: empty ID";
    }
    return std::string();
}

unsigned int CSmbiosSummary::ShortRevisionLength(const SSmbiosSummary& summary)
{
    return summary.bRevisionStructure && summary.bRevisionTooShort ? summary.nRevisionLength : 0;
}

std::string CSmbiosSummary::StructureTypeName(unsigned int nType)
{
    switch (nType)
    {
    case 0:
        return "BIOS information";
    case 1:
        return "system information";
    case 2:
        return "baseboard";
    case 3:
        return "chassis";
    case 4:
        return "processor";
    case 7:
        return "cache";
    case 8:
        return "port connector";
    case 9:
        return "system slots";
    case 11:
        return "OEM strings";
    case 12:
        return "system configuration options";
    case 16:
        return "physical memory array";
    case 17:
        return "memory device";
    case 19:
        return "memory array mapped address";
    case 32:
        return "system boot information";
    case 38:
        return "IPMI device";
    case 41:
        return "onboard devices";
    case 208:
        return "maker's revision structure";
    case 212:
        return "maker's token structure";
    default:
        return std::string();
    }
}

std::string CSmbiosSummary::SourceText(const SSmbiosSummary& summary)
{
    if (!summary.bTableRead)
    {
        return summary.strDumpFile.empty()
                   ? "none: no SMBIOS table could be read"
                   : "none: the table of dump file " + summary.strDumpFile + " could not be read";
    }
    std::string strText;
    switch (summary.eSource)
    {
    case CSMBIOSInventory::eTableSourceSysfs:
        strText = summary.strDumpFile.empty() ? "sysfs" : "dump file " + summary.strDumpFile;
        break;
    case CSMBIOSInventory::eTableSourceMemoryScan:
        strText = "memory scan";
        break;
    case CSMBIOSInventory::eTableSourceESXiDevice:
        strText = "ESXi device";
        break;
    case CSMBIOSInventory::eTableSourceNone:
        strText = "unknown";
        break;
    }
    const std::string strVersion = DisplayedVersion(summary);
    const std::string strNote = VersionFixupNote(summary);
    return strText + ", entry point " + (strVersion.empty() ? "of unknown version" : strVersion) +
           (strNote.empty() ? "" : "; " + strNote);
}

std::string CSmbiosSummary::SystemIdText(const std::string& strSystemID, CSMBIOSInventory::eSystemIdOrigin eOrigin,
                                         unsigned int nShortRevisionLength)
{
    std::string strOrigin = nShortRevisionLength == 0 ? std::string()
                                                      : TooShortOriginText(eOrigin, nShortRevisionLength);
    if (strOrigin.empty())
    {
        strOrigin = OriginText(eOrigin);
    }
    return (strSystemID.empty() ? "none" : strSystemID) + " (" + strOrigin + ")";
}

std::string CSmbiosSummary::SystemIdText(const SSmbiosSummary& summary)
{
    return SystemIdText(summary.strSystemID, summary.eSystemIdOrigin, ShortRevisionLength(summary));
}

std::string CSmbiosSummary::ToText(const SSmbiosSummary& summary)
{
    std::ostringstream oss;
    oss << Label("Source") << SourceText(summary) << "\n";
    if (!summary.bTableRead)
    {
        const std::vector<std::string> vAttempts = AttemptTexts(summary);
        for (std::size_t i = 0; i < vAttempts.size(); ++i)
        {
            oss << (i == 0 ? Label("Tried") : std::string(kLabelWidth + 2, ' ')) << vAttempts[i] << "\n";
        }
        if (DeniedToThisUser(summary))
        {
            oss << Label("Note") << "the system refused this user the SMBIOS tables, which only root may read: "
                << "run as root\n";
        }
        return oss.str();
    }
    oss << Label("BIOS vendor") << summary.strBiosVendor << "\n";
    oss << Label("BIOS version") << summary.strBiosVersion << "\n";
    oss << Label("Manufacturer") << summary.strManufacturer << "\n";
    oss << Label("Product name") << summary.strProductName << "\n";
    oss << Label("Serial number") << summary.strSerialNumber << "\n";
    if (summary.system.bPresent)
    {
        oss << Label("System version") << summary.system.strVersion << "\n";
    }
    if (summary.system.bUUIDPresent)
    {
        oss << Label("System UUID") << summary.system.strUUID << "\n";
    }
    oss << Label("OEM strings") << summary.vOEMStrings.size() << "\n";
    for (std::size_t i = 0; i < summary.vOEMStrings.size(); ++i)
    {
        oss << "  " << (i + 1) << ": " << summary.vOEMStrings[i] << "\n";
    }
    int nStructures = 0;
    for (const auto& count : summary.vStructureCounts)
    {
        nStructures += count.second;
    }
    oss << Label("Structures") << nStructures << "\n";
    for (const auto& count : summary.vStructureCounts)
    {
        const std::string strName = StructureTypeName(count.first);
        oss << "  type " << count.first << (strName.empty() ? "" : " (" + strName + ")") << ": " << count.second
            << "\n";
    }
    oss << Label("System ID") << SystemIdText(summary) << "\n";
    return oss.str();
}

nlohmann::ordered_json CSmbiosSummary::ToJson(const SSmbiosSummary& summary)
{
    nlohmann::ordered_json json;
    json["tableRead"] = summary.bTableRead;
    json["source"] = summary.bTableRead ? SourceKey(summary) : "none";
    json["dumpFile"] = jsonformat::TextOrNull(summary.strDumpFile);
    const std::string strVersion = DisplayedVersion(summary);
    json["entryPointVersion"] = jsonformat::TextOrNull(strVersion);
    const std::string strNote = VersionFixupNote(summary);
    json["entryPointVersionNote"] = jsonformat::TextOrNull(strNote);
    nlohmann::ordered_json tried = nlohmann::ordered_json::array();
    for (const SSmbiosSourceAttempt& attempt : summary.vSourcesTried)
    {
        nlohmann::ordered_json entry;
        entry["source"] = attempt.strSource;
        entry["path"] = attempt.strPath;
        entry["used"] = attempt.bUsed;
        entry["failure"] = jsonformat::TextOrNull(attempt.strFailure);
        entry["denied"] = attempt.bDenied;
        tried.push_back(entry);
    }
    json["sourcesTried"] = tried;
    json["deniedToThisUser"] = DeniedToThisUser(summary);
    if (!summary.bTableRead)
    {
        return json;
    }
    json["biosVendor"] = summary.strBiosVendor;
    json["biosVersion"] = summary.strBiosVersion;
    json["manufacturer"] = summary.strManufacturer;
    json["productName"] = summary.strProductName;
    json["serialNumber"] = summary.strSerialNumber;
    json["systemVersion"] = summary.system.bPresent ? nlohmann::ordered_json(summary.system.strVersion)
                                                    : nlohmann::ordered_json();
    json["systemUUID"] = summary.system.bUUIDPresent ? nlohmann::ordered_json(summary.system.strUUID)
                                                     : nlohmann::ordered_json();
    json["oemStrings"] = summary.vOEMStrings;
    nlohmann::ordered_json counts = nlohmann::ordered_json::array();
    for (const auto& count : summary.vStructureCounts)
    {
        nlohmann::ordered_json entry;
        entry["type"] = count.first;
        entry["count"] = count.second;
        counts.push_back(entry);
    }
    json["structureCounts"] = counts;
    json["systemID"] = summary.strSystemID;
    json["systemIDOrigin"] = OriginKey(summary.eSystemIdOrigin);
    json["revisionStructureLength"] = summary.bRevisionStructure ? nlohmann::ordered_json(summary.nRevisionLength)
                                                                 : nlohmann::ordered_json();
    json["revisionStructureTooShort"] = summary.bRevisionStructure && summary.bRevisionTooShort;
    return json;
}
