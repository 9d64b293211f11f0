#include "SmbiosDump.h"

#include "PlatformLayer.h"

#include <cerrno>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <vector>

#include <unistd.h>

namespace
{
const char* const kEntryPointFileName = "smbios_entry_point";
const char* const kTableFileName = "DMI";
// Names of files that are never created: the reader finds neither physical
// memory nor the ESXi device.
const char* const kNoMemoryFileName = "no-physical-memory";
const char* const kNoESXiFileName = "no-esxi-device";

unsigned int Byte(const std::string& strBytes, std::size_t nAt) { return static_cast<unsigned char>(strBytes[nAt]); }

uint32_t Le16(const std::string& strBytes, std::size_t nAt)
{
    return Byte(strBytes, nAt) | (Byte(strBytes, nAt + 1) << 8);
}

uint32_t Le32(const std::string& strBytes, std::size_t nAt)
{
    return Le16(strBytes, nAt) | (static_cast<uint32_t>(Le16(strBytes, nAt + 2)) << 16);
}

bool StartsWith(const std::string& strBytes, const char* pszAnchor)
{
    return strBytes.compare(0, std::strlen(pszAnchor), pszAnchor) == 0;
}

bool ReadWhole(const std::string& strPath, std::string& strBytes, std::string& strError)
{
    std::ifstream ifs(strPath, std::ios::binary);
    if (!ifs)
    {
        strError = "cannot open " + strPath + ": " + std::strerror(errno);
        return false;
    }
    std::vector<char> vBuffer(65536);
    while (ifs)
    {
        ifs.read(vBuffer.data(), static_cast<std::streamsize>(vBuffer.size()));
        strBytes.append(vBuffer.data(), static_cast<std::size_t>(ifs.gcount()));
        if (strBytes.size() > CSmbiosDump::nMaximumSize)
        {
            strError = strPath + " is larger than " + std::to_string(CSmbiosDump::nMaximumSize) +
                       " bytes: not an SMBIOS dump";
            return false;
        }
    }
    if (ifs.bad())
    {
        strError = "cannot read " + strPath + ": " + std::strerror(errno);
        return false;
    }
    return true;
}

bool WriteWhole(const std::string& strPath, const std::string& strBytes)
{
    std::ofstream ofs(strPath, std::ios::binary | std::ios::trunc);
    ofs.write(strBytes.data(), static_cast<std::streamsize>(strBytes.size()));
    ofs.close();
    return !ofs.fail();
}
} // namespace

namespace
{
// Sources that name nothing: until a dump is loaded, and after it is gone,
// the reader finds no firmware at all (never the machine's own).
SMBIOSSources NoSources()
{
    SMBIOSSources sources;
    sources.strEntryPointPath.clear();
    sources.strTablePath.clear();
    sources.strMemoryDevicePath.clear();
    sources.strESXiDevicePath.clear();
    return sources;
}
} // namespace

CSmbiosDump::CSmbiosDump() : m_eKind(eEntryPointNone), m_nTableLength(0), m_sources(NoSources()) {}

CSmbiosDump::~CSmbiosDump() { RemoveDirectory(); }

bool CSmbiosDump::Split(const std::string& strDump, std::string& strEntryPoint, std::string& strTable,
                        eEntryPointKind& eKind, std::string& strError)
{
    eKind = eEntryPointNone;
    if (strDump.size() < nTableOffset)
    {
        strError = "only " + std::to_string(strDump.size()) + " bytes: a dump holds its entry point in the first " +
                   std::to_string(nTableOffset) + " bytes and the table behind them";
        return false;
    }

    std::size_t nEntryPointLength = 0;
    std::size_t nTableLength = 0;
    bool bLengthIsMaximum = false;
    if (StartsWith(strDump, "_SM3_"))
    {
        eKind = eEntryPoint3;
        nEntryPointLength = Byte(strDump, 0x06);
        nTableLength = Le32(strDump, 0x0C);
        bLengthIsMaximum = true;
    }
    else if (StartsWith(strDump, "_SM_"))
    {
        eKind = eEntryPoint2;
        nEntryPointLength = Byte(strDump, 0x05);
        nTableLength = Le16(strDump, 0x16);
    }
    else if (StartsWith(strDump, "_DMI_"))
    {
        eKind = eEntryPointLegacy;
        nEntryPointLength = 0x0F;
        nTableLength = Le16(strDump, 0x06);
    }
    else
    {
        strError = "no SMBIOS entry point (\"_SM_\", \"_SM3_\" or \"_DMI_\") at offset 0";
        return false;
    }
    if (nEntryPointLength == 0 || nEntryPointLength > nTableOffset)
    {
        strError = "the entry point says it is " + std::to_string(nEntryPointLength) +
                   " bytes long; a dump has room for 1 to " + std::to_string(nTableOffset);
        return false;
    }

    const std::size_t nAvailable = strDump.size() - nTableOffset;
    if (nTableLength > nAvailable)
    {
        if (!bLengthIsMaximum)
        {
            strError = "the entry point gives a table of " + std::to_string(nTableLength) + " bytes, the dump holds " +
                       std::to_string(nAvailable) + " behind offset 0x20";
            return false;
        }
        // A 64-bit entry point gives only the table's maximum size.
        nTableLength = nAvailable;
    }
    strEntryPoint = strDump.substr(0, nEntryPointLength);
    strTable = strDump.substr(nTableOffset, nTableLength);
    return true;
}

bool CSmbiosDump::Load(const std::string& strPath)
{
    RemoveDirectory();
    m_strPath = strPath;
    m_strError.clear();
    m_eKind = eEntryPointNone;
    m_nTableLength = 0;

    std::string strDump;
    if (!ReadWhole(strPath, strDump, m_strError))
    {
        return false;
    }
    std::string strEntryPoint;
    std::string strTable;
    if (!Split(strDump, strEntryPoint, strTable, m_eKind, m_strError))
    {
        m_strError = strPath + ": " + m_strError;
        return false;
    }

    const char* pszTemp = std::getenv("TMPDIR");
    std::string strTemplate = std::string(pszTemp != nullptr && *pszTemp != '\0' ? pszTemp : "/tmp") +
                              "/vexinspect-smbios-XXXXXX";
    std::vector<char> vTemplate(strTemplate.begin(), strTemplate.end());
    vTemplate.push_back('\0');
    if (mkdtemp(vTemplate.data()) == nullptr)
    {
        m_strError = "cannot create a temporary directory from " + strTemplate + ": " + std::strerror(errno);
        return false;
    }
    m_strDirectory = vTemplate.data();
    if (m_strDirectory[0] != '/')
    {
        // The reader may run in another working directory (explain changes
        // into the package): the sources must not depend on it.
        m_strDirectory = CPlatformLayer::getCurrentDirectory() + m_strDirectory;
    }

    m_sources.strEntryPointPath = m_strDirectory + "/" + kEntryPointFileName;
    m_sources.strTablePath = m_strDirectory + "/" + kTableFileName;
    m_sources.strMemoryDevicePath = m_strDirectory + "/" + kNoMemoryFileName;
    m_sources.strESXiDevicePath = m_strDirectory + "/" + kNoESXiFileName;
    if (!WriteWhole(m_sources.strEntryPointPath, strEntryPoint) || !WriteWhole(m_sources.strTablePath, strTable))
    {
        m_strError = "cannot write the dump's tables into " + m_strDirectory;
        RemoveDirectory();
        return false;
    }
    m_nTableLength = strTable.size();
    return true;
}

void CSmbiosDump::RemoveDirectory()
{
    if (m_strDirectory.empty())
    {
        return;
    }
    unlink((m_strDirectory + "/" + kEntryPointFileName).c_str());
    unlink((m_strDirectory + "/" + kTableFileName).c_str());
    rmdir(m_strDirectory.c_str());
    m_strDirectory.clear();
    m_sources = NoSources();
}
