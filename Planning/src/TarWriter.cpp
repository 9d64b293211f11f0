#include "TarWriter.h"

#include <algorithm>
#include <cstring>
#include <string_view>

namespace
{
const std::size_t nBlock = 512;
const std::size_t nNameField = 100;

// An octal number into a ustar field of nWidth bytes: nWidth - 1 digits,
// then NUL. The callers' values fit (a member is at most the metadata
// limit, far below 8 GiB; times before the year 2242).
void PutOctal(char* pField, std::size_t nWidth, uint64_t nValue)
{
    for (std::size_t nDigit = nWidth - 1; nDigit > 0; --nDigit)
    {
        pField[nDigit - 1] = static_cast<char>('0' + (nValue & 7));
        nValue >>= 3;
    }
    pField[nWidth - 1] = '\0';
}

// Text into a ustar field that starts at pField: exactly the text's bytes,
// no terminator of its own. The header is zeroed first, so a text shorter
// than its field ends in NUL there; the callers keep to the field's width.
void PutText(char* pField, std::string_view text) { std::copy_n(text.data(), text.size(), pField); }

// One pax record, "LEN key=value\n", where LEN counts the whole record.
std::string PaxRecord(const std::string& strKey, const std::string& strValue)
{
    const std::size_t nBody = strKey.size() + strValue.size() + 3; // " ", "=", "\n"
    std::size_t nLength = nBody + 1;
    while (std::to_string(nLength).size() + nBody != nLength)
    {
        nLength = std::to_string(nLength).size() + nBody;
    }
    return std::to_string(nLength) + " " + strKey + "=" + strValue + "\n";
}
} // namespace

void CTarWriter::AddDirectory(const std::string& strName, mode_t nMode, int64_t nModifiedSeconds)
{
    AddMember(strName + "/", '5', std::string(), nMode, nModifiedSeconds);
}

void CTarWriter::AddFile(const std::string& strName, const std::string& strContent, mode_t nMode,
                         int64_t nModifiedSeconds)
{
    AddMember(strName, '0', strContent, nMode, nModifiedSeconds);
}

void CTarWriter::AddMember(std::string strName, char cType, const std::string& strContent, mode_t nMode,
                           int64_t nModifiedSeconds)
{
    if (strName.size() > nNameField)
    {
        // The whole name goes into an extended header; the ustar field keeps
        // its last part, for readers that know no pax.
        const std::string strRecords = PaxRecord("path", strName);
        const std::size_t nSlash = strName.find_last_of('/', strName.size() - 2);
        std::string strShort = "PaxHeaders/" + strName.substr(nSlash == std::string::npos ? 0 : nSlash + 1);
        AddHeader(strShort.substr(0, nNameField), 'x', strRecords.size(), 0644, nModifiedSeconds);
        AddData(strRecords);
        strName = strName.substr(strName.size() - nNameField);
    }
    AddHeader(strName, cType, strContent.size(), nMode, nModifiedSeconds);
    AddData(strContent);
    ++m_nMembers;
}

void CTarWriter::AddHeader(const std::string& strName, char cType, uint64_t nSize, mode_t nMode,
                           int64_t nModifiedSeconds)
{
    char header[nBlock];
    std::memset(header, 0, sizeof(header));
    PutText(header, std::string_view(strName).substr(0, nNameField));
    PutOctal(header + 100, 8, nMode & 07777);
    PutOctal(header + 108, 8, 0);
    PutOctal(header + 116, 8, 0);
    PutOctal(header + 124, 12, nSize);
    PutOctal(header + 136, 12, static_cast<uint64_t>(nModifiedSeconds < 0 ? 0 : nModifiedSeconds));
    header[156] = cType;
    // Magic "ustar" and its NUL (left by the zeroing), version "00" without
    // one, owner and group names.
    PutText(header + 257, "ustar");
    PutText(header + 263, "00");
    PutText(header + 265, "root");
    PutText(header + 297, "root");
    // The checksum is taken with its own field as eight spaces.
    std::memset(header + 148, ' ', 8);
    unsigned int nSum = 0;
    for (unsigned char c : header)
    {
        nSum += c;
    }
    PutOctal(header + 148, 7, nSum);
    header[155] = ' ';
    m_strArchive.append(header, sizeof(header));
}

void CTarWriter::AddData(const std::string& strContent)
{
    m_strArchive += strContent;
    const std::size_t nRest = strContent.size() % nBlock;
    if (nRest != 0)
    {
        m_strArchive.append(nBlock - nRest, '\0');
    }
}

std::string CTarWriter::Finish()
{
    m_strArchive.append(2 * nBlock, '\0');
    std::string strArchive;
    strArchive.swap(m_strArchive);
    m_nMembers = 0;
    return strArchive;
}
