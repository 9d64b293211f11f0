#include "DmidecodeComparison.h"

#include "TestSupport.h"

#include <nlohmann/json.hpp>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <regex>

namespace vextest
{
const char* const kDmidecode = "/usr/sbin/dmidecode";

namespace
{
using Json = nlohmann::json;

// Adds nDelta to the byte at nAt, modulo 256.
void AddToByte(std::string& strBytes, std::size_t nAt, int nDelta)
{
    strBytes[nAt] = static_cast<char>(static_cast<uint8_t>(strBytes[nAt]) + nDelta);
}

// Writes the little-endian nValue into nBytes bytes at nAt and returns how
// much the sum of those bytes grew.
int PutLittleEndian(std::string& strBytes, std::size_t nAt, std::size_t nBytes, uint64_t nValue)
{
    int nDelta = 0;
    for (std::size_t i = 0; i < nBytes; ++i)
    {
        const uint8_t nNew = static_cast<uint8_t>(nValue >> (8 * i));
        nDelta += nNew - static_cast<uint8_t>(strBytes[nAt + i]);
        strBytes[nAt + i] = static_cast<char>(nNew);
    }
    return nDelta;
}

// What dmidecode prints for a field it did not find: nothing; vexinspect
// writes null.
Json TextOrNull(const std::string& strText) { return strText.empty() ? Json() : Json(strText); }
// Why the comparison cannot run here, or empty.
std::string WhyFirmwareCannotBeComparedWithDmidecode(const Firmware& firmware)
{
    if (!FileExists(kDmidecode))
    {
        return "dmidecode is not installed";
    }
    if (firmware.eKind == Firmware::Kind::Memory && !CanUseMountNamespace())
    {
        return "private mount namespaces (unshare) are refused here: dmidecode cannot scan the firmware's memory";
    }
    if (firmware.eKind != Firmware::Kind::Memory && firmware.eKind != Firmware::Kind::Sysfs)
    {
        return "the firmware holds no table";
    }
    return std::string();
}
} // namespace

std::string DmidecodeString(const std::string& strDump, const std::string& strKeyword)
{
    const CommandResult result = RunCommand({kDmidecode, "--from-dump", strDump, "-s", strKeyword}, "/");
    EXPECT_EQ(result.nExitStatus, 0) << result.strStderr;
    // "-s" prints the value alone (a broken table adds an empty line), or a
    // comment of its own.
    std::vector<std::string> vLines = Lines(result.strStdout);
    vLines.erase(std::remove(vLines.begin(), vLines.end(), std::string()), vLines.end());
    EXPECT_LE(vLines.size(), 1u) << strKeyword << ": " << result.strStdout;
    return vLines.empty() || vLines[0].compare(0, 1, "#") == 0 ? std::string() : vLines[0];
}

std::vector<std::string> DmidecodeOEMStrings(const std::string& strDump)
{
    const CommandResult result = RunCommand({kDmidecode, "--from-dump", strDump, "-t", "11"}, "/");
    EXPECT_EQ(result.nExitStatus, 0) << result.strStderr;
    std::vector<std::string> vStrings;
    for (const std::string& strLine : Lines(result.strStdout))
    {
        const std::string::size_type nColon = strLine.find(": ");
        if (strLine.compare(0, 8, "\tString ") == 0 && nColon != std::string::npos)
        {
            vStrings.push_back(strLine.substr(nColon + 2));
        }
    }
    return vStrings;
}

DmidecodeReading ReadWithDmidecode(const std::string& strDump)
{
    const CommandResult result = RunCommand({kDmidecode, "--from-dump", strDump}, "/");
    DmidecodeReading reading;
    static const std::regex rePresent("SMBIOS ([0-9.]+) present\\.");
    for (const std::string& strLine : Lines(result.strStdout))
    {
        std::smatch match;
        if (std::regex_match(strLine, match, rePresent))
        {
            reading.bRead = true;
            reading.strVersion = match[1];
        }
    }
    for (const std::string& strLine : Lines(result.strStderr))
    {
        if (strLine.compare(0, 20, "SMBIOS version fixup") == 0)
        {
            reading.strNote = strLine;
        }
    }
    if (!reading.bRead || result.nExitStatus != 0)
    {
        reading.bRead = false;
        reading.strRefusal = "status " + std::to_string(result.nExitStatus) + ": " + result.strStdout +
                             result.strStderr;
    }
    return reading;
}

std::string DumpOfSysfsTables(const std::string& strEntryPoint, const std::string& strTable)
{
    std::string strHead = strEntryPoint;
    if (strHead.compare(0, 5, "_SM3_") == 0 && strHead.size() >= 0x18)
    {
        strHead.resize(std::min<std::size_t>({strHead.size(), static_cast<uint8_t>(strHead[6]), 0x20}));
        strHead.resize(std::max<std::size_t>(strHead.size(), 0x18), '\0');
        AddToByte(strHead, 0x05, -PutLittleEndian(strHead, 0x10, 8, 0x20));
    }
    else if (strHead.compare(0, 4, "_SM_") == 0 && strHead.size() >= 0x1F)
    {
        strHead.resize(std::min<std::size_t>({strHead.size(), static_cast<uint8_t>(strHead[5]), 0x20}));
        strHead.resize(std::max<std::size_t>(strHead.size(), 0x1F), '\0');
        // The intermediate checksum covers the address; the outer one covers
        // both, whose changes cancel out.
        AddToByte(strHead, 0x15, -PutLittleEndian(strHead, 0x18, 4, 0x20));
    }
    strHead.resize(0x20, '\0');
    return strHead + strTable;
}

void ExpectSmbiosAgreesWithDmidecode(const std::string& strInspect, const std::string& strDump)
{
    const DmidecodeReading dmidecode = ReadWithDmidecode(strDump);
    const CommandResult inspect = RunCommand({strInspect, "smbios", "--from-dump", strDump, "--json"}, "/");
    EXPECT_EQ(JsonSchemaErrors("smbios", inspect.strStdout), "");
    const Json json = Json::parse(inspect.strStdout, nullptr, false);
    ASSERT_FALSE(json.is_discarded()) << inspect.strStdout;
    if (!dmidecode.bRead)
    {
        // Said per table: not compared field by field, and why.
        ::testing::Test::RecordProperty("dmidecode", "reads no table: " + dmidecode.strRefusal);
        EXPECT_EQ(inspect.nExitStatus, 1)
            << "dmidecode reads no table (" << dmidecode.strRefusal << "), vexinspect does: " << inspect.strStdout;
        EXPECT_EQ(json["tableRead"], false);
        return;
    }
    ::testing::Test::RecordProperty("dmidecode", "SMBIOS " + dmidecode.strVersion + " present");
    ASSERT_EQ(inspect.nExitStatus, 0) << "dmidecode reads SMBIOS " << dmidecode.strVersion
                                      << ", vexinspect reads no table: " << inspect.strStdout << inspect.strStderr;
    EXPECT_EQ(json["entryPointVersion"], dmidecode.strVersion);
    EXPECT_EQ(json["entryPointVersionNote"], TextOrNull(dmidecode.strNote));
    // The system information (type 1) and the other identity strings.
    EXPECT_EQ(json["systemVersion"], TextOrNull(DmidecodeString(strDump, "system-version")));
    EXPECT_EQ(json["systemUUID"], TextOrNull(DmidecodeString(strDump, "system-uuid")));
    EXPECT_EQ(json["manufacturer"], DmidecodeString(strDump, "system-manufacturer"));
    EXPECT_EQ(json["productName"], DmidecodeString(strDump, "system-product-name"));
    EXPECT_EQ(json["serialNumber"], DmidecodeString(strDump, "system-serial-number"));
    EXPECT_EQ(json["biosVendor"], DmidecodeString(strDump, "bios-vendor"));
    EXPECT_EQ(json["biosVersion"], DmidecodeString(strDump, "bios-version"));
    EXPECT_EQ(json["oemStrings"], Json(DmidecodeOEMStrings(strDump)));
}

void PrintTo(const SmbiosTableCase& testCase, std::ostream* pStream) { *pStream << testCase.strName; }

std::string SmbiosTableCaseName(const ::testing::TestParamInfo<SmbiosTableCase>& info) { return info.param.strName; }

void ExpectFirmwareAgreesWithDmidecode(const std::string& strInspect, const Firmware& firmware)
{
    const std::string strWhyNot = WhyFirmwareCannotBeComparedWithDmidecode(firmware);
    if (!strWhyNot.empty())
    {
        GTEST_SKIP() << strWhyNot;
    }
    TempDir dir;
    const std::string strDump = dir.File("firmware.dump");
    if (firmware.eKind == Firmware::Kind::Sysfs)
    {
        WriteFile(strDump, DumpOfSysfsTables(firmware.strEntryPoint, firmware.strTable));
        ExpectSmbiosAgreesWithDmidecode(strInspect, strDump);
        return;
    }
    ASSERT_EQ(firmware.eKind, Firmware::Kind::Memory);
    const CommandResult dump = RunInPackage({kDmidecode, "--dump-bin", strDump}, dir.Path(), firmware);
    if (FileExists(strDump))
    {
        EXPECT_EQ(dump.nExitStatus, 0) << dump.strStdout << dump.strStderr;
        ExpectSmbiosAgreesWithDmidecode(strInspect, strDump);
        return;
    }
    // dmidecode finds no table in that memory: neither may vexinspect.
    ::testing::Test::RecordProperty("dmidecode", "finds no table in memory: " + dump.strStdout + dump.strStderr);
    const CommandResult inspect = RunInPackage({strInspect, "smbios", "--json"}, dir.Path(), firmware);
    EXPECT_EQ(inspect.nExitStatus, 1) << "dmidecode finds no table (" << dump.strStdout << dump.strStderr
                                      << "), vexinspect does: " << inspect.strStdout;
}
} // namespace vextest
