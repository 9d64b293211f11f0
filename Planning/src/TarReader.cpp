#include "TarReader.h"

#include <algorithm>
#include <cstring>
#include <vector>

const std::size_t CTarReader::nMaxMembers = 10000;
const std::size_t CTarReader::nMaxNameBytes = 4096;

namespace
{
const std::size_t kBlock = 512;

std::string Quote(const std::string& strText) { return "\"" + strText + "\""; }

// A header field that holds text up to its first NUL.
std::string FieldText(const char* pField, std::size_t nLength)
{
    const char* pEnd = static_cast<const char*>(std::memchr(pField, '\0', nLength));
    return std::string(pField, pEnd != nullptr ? static_cast<std::size_t>(pEnd - pField) : nLength);
}

// A numeric header field: octal digits (blanks and NULs around them), or
// the base-256 form GNU tar uses for large values.
bool FieldNumber(const char* pField, std::size_t nLength, uint64_t& nValue)
{
    const unsigned char* p = reinterpret_cast<const unsigned char*>(pField);
    nValue = 0;
    if ((p[0] & 0x80) != 0)
    {
        if ((p[0] & 0x40) != 0)
        {
            return false; // negative
        }
        uint64_t nResult = p[0] & 0x3F;
        for (std::size_t i = 1; i < nLength; ++i)
        {
            if (nResult > (UINT64_MAX >> 8))
            {
                return false;
            }
            nResult = (nResult << 8) | p[i];
        }
        nValue = nResult;
        return true;
    }
    std::size_t i = 0;
    while (i < nLength && (p[i] == ' ' || p[i] == '\0'))
    {
        ++i;
    }
    bool bDigits = false;
    for (; i < nLength && p[i] >= '0' && p[i] <= '7'; ++i)
    {
        if (nValue > (UINT64_MAX >> 3))
        {
            return false;
        }
        nValue = (nValue << 3) | (p[i] - '0');
        bDigits = true;
    }
    for (; i < nLength; ++i)
    {
        if (p[i] != ' ' && p[i] != '\0')
        {
            return false;
        }
    }
    return bDigits;
}

bool IsZeroBlock(const char* pBlock)
{
    return std::all_of(pBlock, pBlock + kBlock, [](char c) { return c == '\0'; });
}

bool ChecksumHolds(const char* pBlock)
{
    uint64_t nStored = 0;
    if (!FieldNumber(pBlock + 148, 8, nStored))
    {
        return false;
    }
    long nUnsigned = 0;
    long nSigned = 0;
    for (std::size_t i = 0; i < kBlock; ++i)
    {
        const bool bChecksumField = i >= 148 && i < 156;
        const unsigned char uc = bChecksumField ? ' ' : static_cast<unsigned char>(pBlock[i]);
        nUnsigned += uc;
        nSigned += bChecksumField ? ' ' : static_cast<signed char>(pBlock[i]);
    }
    return static_cast<long>(nStored) == nUnsigned || static_cast<long>(nStored) == nSigned;
}

// The member name as the package reader will use it, or the reason it is
// refused.
bool NormalisedName(const std::string& strRaw, std::string& strName, std::string& strReason)
{
    if (strRaw.empty())
    {
        strReason = "has an empty name";
        return false;
    }
    if (strRaw.find('\0') != std::string::npos)
    {
        strReason = "has a name with a NUL byte";
        return false;
    }
    if (strRaw[0] == '/')
    {
        strReason = "has an absolute name";
        return false;
    }
    strName.clear();
    std::size_t nStart = 0;
    while (nStart <= strRaw.size())
    {
        std::size_t nEnd = strRaw.find('/', nStart);
        if (nEnd == std::string::npos)
        {
            nEnd = strRaw.size();
        }
        const std::string strPart = strRaw.substr(nStart, nEnd - nStart);
        nStart = nEnd + 1;
        if (strPart.empty() || strPart == ".")
        {
            continue;
        }
        if (strPart == "..")
        {
            strReason = "has a \"..\" component";
            return false;
        }
        strName += (strName.empty() ? "" : "/") + strPart;
    }
    if (strName.empty())
    {
        strReason = "names the archive's root";
        return false;
    }
    return true;
}

// The latest time, in seconds, that nanoseconds since the epoch hold.
const uint64_t kMaxTimeSeconds = 9000000000ULL;

// A pax time ("1700000000" or "1700000000.25") in nanoseconds; false
// for what is no such time (a negative one among them).
bool PaxTimeNs(const std::string& strValue, int64_t& nNs)
{
    const std::size_t nDot = strValue.find('.');
    const std::string strWhole = strValue.substr(0, nDot);
    const std::string strFraction = nDot == std::string::npos ? std::string() : strValue.substr(nDot + 1);
    const auto isDigit = [](char c) { return c >= '0' && c <= '9'; };
    if (strWhole.empty() || strWhole.size() > 10 || !std::all_of(strWhole.begin(), strWhole.end(), isDigit) ||
        !std::all_of(strFraction.begin(), strFraction.end(), isDigit))
    {
        return false;
    }
    const uint64_t nSeconds = std::stoull(strWhole);
    if (nSeconds > kMaxTimeSeconds)
    {
        return false;
    }
    int64_t nFraction = 0;
    for (std::size_t i = 0; i < 9; ++i)
    {
        nFraction = nFraction * 10 + (i < strFraction.size() ? strFraction[i] - '0' : 0);
    }
    nNs = static_cast<int64_t>(nSeconds) * 1000000000 + nFraction;
    return true;
}

// The value of one key of pax extended-header records ("LEN key=value\n").
bool PaxValue(const std::string& strRecords, const std::string& strKey, std::string& strValue, bool& bFound)
{
    bFound = false;
    std::size_t nAt = 0;
    while (nAt < strRecords.size())
    {
        std::size_t nSpace = strRecords.find(' ', nAt);
        if (nSpace == std::string::npos)
        {
            return false;
        }
        const std::string strLength = strRecords.substr(nAt, nSpace - nAt);
        if (strLength.empty() || strLength.size() > 9 ||
            !std::all_of(strLength.begin(), strLength.end(), [](char c) { return c >= '0' && c <= '9'; }))
        {
            return false;
        }
        const std::size_t nLength = std::stoul(strLength);
        if (nLength <= strLength.size() + 1 || nAt + nLength > strRecords.size() ||
            strRecords[nAt + nLength - 1] != '\n')
        {
            return false;
        }
        const std::string strRecord = strRecords.substr(nSpace + 1, nAt + nLength - 1 - (nSpace + 1));
        const std::size_t nEquals = strRecord.find('=');
        if (nEquals == std::string::npos)
        {
            return false;
        }
        if (strRecord.compare(0, nEquals, strKey) == 0 && nEquals == strKey.size())
        {
            strValue = strRecord.substr(nEquals + 1);
            bFound = true;
        }
        nAt += nLength;
    }
    return true;
}

const char* TypeWords(char cType)
{
    switch (cType)
    {
    case '1':
        return "is a hard link";
    case '2':
        return "is a symbolic link";
    case '3':
        return "is a character device";
    case '4':
        return "is a block device";
    case '6':
        return "is a named pipe";
    case 'S':
        return "is a sparse file";
    case 'M':
        return "continues on another volume";
    case 'V':
        return "is a volume label";
    default:
        break;
    }
    return nullptr;
}
} // namespace

CTarReader::CTarReader(CArchiveStream& stream, std::size_t nMemberLimit)
    : m_stream(stream), m_nMemberLimit(nMemberLimit)
{
}

bool CTarReader::IsHeader(const char* pBlock, std::size_t nSize)
{
    return nSize >= kBlock && !IsZeroBlock(pBlock) && ChecksumHolds(pBlock);
}

bool CTarReader::ReadExactly(char* pBuffer, std::size_t nSize, std::string& strError)
{
    std::size_t nDone = 0;
    while (nDone < nSize)
    {
        const long nRead = m_stream.Read(pBuffer + nDone, nSize - nDone, strError);
        if (nRead < 0)
        {
            return false;
        }
        if (nRead == 0)
        {
            strError = "the archive ends in the middle of a member";
            return false;
        }
        nDone += static_cast<std::size_t>(nRead);
    }
    return true;
}

bool CTarReader::SkipBytes(uint64_t nCount, std::string& strError)
{
    std::vector<char> vBuffer(65536);
    while (nCount > 0)
    {
        const std::size_t nTake = static_cast<std::size_t>(std::min<uint64_t>(nCount, vBuffer.size()));
        if (!ReadExactly(vBuffer.data(), nTake, strError))
        {
            return false;
        }
        nCount -= nTake;
    }
    return true;
}

bool CTarReader::ReadRecordData(uint64_t nSize, std::string& strData, std::string& strError)
{
    if (nSize > nMaxNameBytes * 4)
    {
        strError = "has an extended header of " + std::to_string(nSize) + " bytes";
        return false;
    }
    const uint64_t nPadded = (nSize + kBlock - 1) / kBlock * kBlock;
    std::vector<char> vData(static_cast<std::size_t>(nPadded));
    if (!ReadExactly(vData.data(), vData.size(), strError))
    {
        return false;
    }
    strData.assign(vData.data(), static_cast<std::size_t>(nSize));
    return true;
}

bool CTarReader::Next(STarMember& member, std::string& strError)
{
    strError.clear();
    if (m_bEnded)
    {
        return false;
    }
    if (!SkipBytes(m_nPendingData + m_nPendingPadding, strError))
    {
        return false;
    }
    m_nPendingData = 0;
    m_nPendingPadding = 0;

    std::string strLongName;
    std::string strPaxPath;
    bool bPaxSize = false;
    uint64_t nPaxSize = 0;
    bool bPaxTime = false;
    int64_t nPaxTimeNs = 0;
    for (;;)
    {
        char block[kBlock];
        std::size_t nHave = 0;
        while (nHave < kBlock)
        {
            const long nRead = m_stream.Read(block + nHave, kBlock - nHave, strError);
            if (nRead < 0)
            {
                return false;
            }
            if (nRead == 0)
            {
                break;
            }
            nHave += static_cast<std::size_t>(nRead);
        }
        if (nHave == 0)
        {
            // The end of the stream without the end-of-archive blocks: what
            // was read is all there is.
            m_bEnded = true;
            return false;
        }
        if (nHave < kBlock)
        {
            strError = "the archive ends in the middle of a header";
            return false;
        }
        if (IsZeroBlock(block))
        {
            m_bEnded = true;
            return false;
        }
        if (!ChecksumHolds(block))
        {
            strError = "the archive has a damaged header (its checksum does not hold) after " +
                       std::to_string(m_nMembers) + " members";
            return false;
        }
        uint64_t nSize = 0;
        if (!FieldNumber(block + 124, 12, nSize))
        {
            strError = "the archive has a header with an unreadable size after " + std::to_string(m_nMembers) +
                       " members";
            return false;
        }
        const char cType = block[156];

        std::string strRawName;
        if (!strPaxPath.empty())
        {
            strRawName = strPaxPath;
        }
        else if (!strLongName.empty())
        {
            strRawName = strLongName;
        }
        else
        {
            const std::string strPrefix = std::memcmp(block + 257, "ustar\0", 6) == 0 ? FieldText(block + 345, 155)
                                                                                      : std::string();
            const std::string strBase = FieldText(block, 100);
            strRawName = strPrefix.empty() ? strBase : strPrefix + "/" + strBase;
        }

        if (cType == 'L' || cType == 'x' || cType == 'g' || cType == 'K')
        {
            if (++m_nRecords > m_nMemberLimit)
            {
                strError = "the archive holds more than " + std::to_string(m_nMemberLimit) + " extended headers";
                return false;
            }
            std::string strData;
            if (!ReadRecordData(nSize, strData, strError))
            {
                strError = "the archive member " + Quote(strRawName) + " " + strError;
                return false;
            }
            if (cType == 'L')
            {
                strLongName = FieldText(strData.data(), strData.size());
            }
            else if (cType == 'x')
            {
                bool bFound = false;
                std::string strValue;
                if (!PaxValue(strData, "path", strValue, bFound))
                {
                    strError = "the archive has a damaged extended header after " + std::to_string(m_nMembers) +
                               " members";
                    return false;
                }
                if (bFound)
                {
                    strPaxPath = strValue;
                }
                if (!PaxValue(strData, "size", strValue, bFound))
                {
                    strError = "the archive has a damaged extended header after " + std::to_string(m_nMembers) +
                               " members";
                    return false;
                }
                if (bFound)
                {
                    if (strValue.empty() || strValue.size() > 19 ||
                        !std::all_of(strValue.begin(), strValue.end(), [](char c) { return c >= '0' && c <= '9'; }))
                    {
                        strError = "the archive has an extended header with an unreadable size";
                        return false;
                    }
                    bPaxSize = true;
                    nPaxSize = std::stoull(strValue);
                }
                if (PaxValue(strData, "mtime", strValue, bFound) && bFound)
                {
                    bPaxTime = PaxTimeNs(strValue, nPaxTimeNs);
                }
            }
            // 'g' (global pax settings) and 'K' (a long link target) change
            // nothing that a package of files and directories uses.
            continue;
        }
        if (bPaxSize)
        {
            nSize = nPaxSize;
        }

        if (++m_nMembers > m_nMemberLimit)
        {
            strError = "the archive holds more than " + std::to_string(m_nMemberLimit) + " members" +
                       (m_nMemberLimit == nMaxMembers ? ": no package is that large" : "");
            return false;
        }
        if (strRawName.size() > nMaxNameBytes)
        {
            strError = "the archive member " + Quote(strRawName.substr(0, 64) + "...") + " has a name longer than " +
                       std::to_string(nMaxNameBytes) + " bytes";
            return false;
        }
        if (const char* pszWords = TypeWords(cType))
        {
            strError = "the archive member " + Quote(strRawName) + " " + pszWords;
            return false;
        }
        if (cType != '0' && cType != '\0' && cType != '7' && cType != '5')
        {
            strError = "the archive member " + Quote(strRawName) + " has the unknown type " +
                       Quote(std::string(1, cType));
            return false;
        }
        std::string strReason;
        if (!NormalisedName(strRawName, member.strName, strReason))
        {
            // "./", the archive's root as tar writes it first, is no member
            // of the package.
            if (cType == '5' && member.strName.empty() && !strRawName.empty() && strRawName[0] != '/' &&
                strRawName.find("..") == std::string::npos)
            {
                strLongName.clear();
                strPaxPath.clear();
                bPaxSize = false;
                bPaxTime = false;
                if (!SkipBytes((nSize + kBlock - 1) / kBlock * kBlock, strError))
                {
                    return false;
                }
                continue;
            }
            strError = "the archive member " + Quote(strRawName) + " " + strReason;
            return false;
        }
        uint64_t nMode = 0;
        FieldNumber(block + 100, 8, nMode);
        member.nMode = static_cast<mode_t>(nMode & 0777);
        uint64_t nSeconds = 0;
        member.nModifiedNs = bPaxTime ? nPaxTimeNs
                             : FieldNumber(block + 136, 12, nSeconds) && nSeconds <= kMaxTimeSeconds
                                 ? static_cast<int64_t>(nSeconds) * 1000000000
                                 : 0;
        member.eKind = cType == '5' ? STarMember::EKind::Directory : STarMember::EKind::File;
        member.nSize = member.eKind == STarMember::EKind::File ? nSize : 0;
        // A directory's size field is ignored, as tar itself does.
        m_nPendingData = member.nSize;
        m_nPendingPadding = (kBlock - member.nSize % kBlock) % kBlock;
        if (member.eKind == STarMember::EKind::Directory && nSize > 0)
        {
            m_nPendingData = nSize;
            m_nPendingPadding = (kBlock - nSize % kBlock) % kBlock;
        }
        return true;
    }
}

bool CTarReader::StreamData(const std::function<bool(const char*, std::size_t, std::string&)>& consumer,
                            std::string& strError)
{
    std::vector<char> vBuffer(65536);
    while (m_nPendingData > 0)
    {
        const std::size_t nTake = static_cast<std::size_t>(std::min<uint64_t>(m_nPendingData, vBuffer.size()));
        if (!ReadExactly(vBuffer.data(), nTake, strError))
        {
            return false;
        }
        m_nPendingData -= nTake;
        if (!consumer(vBuffer.data(), nTake, strError))
        {
            return false;
        }
    }
    return true;
}

bool CTarReader::ReadData(std::string& strData, std::size_t nMaxBytes, std::string& strError)
{
    strData.clear();
    if (m_nPendingData > nMaxBytes)
    {
        strError = "larger than " + std::to_string(nMaxBytes) + " bytes";
        return false;
    }
    strData.reserve(static_cast<std::size_t>(m_nPendingData));
    return StreamData(
        [&strData](const char* pData, std::size_t nSize, std::string&) {
            strData.append(pData, nSize);
            return true;
        },
        strError);
}

bool CTarReader::SkipData(std::string& strError)
{
    const bool bSkipped = SkipBytes(m_nPendingData, strError);
    m_nPendingData = 0;
    return bSkipped;
}
