#include "VersionRule.h"

#include "TextFormat.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include <strings.h>

using textformat::Quote;

namespace
{
// The characters that switch the comparison to text: the 52 ASCII letters
// and the blank.
const char* const kTextCharacters = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ ";
// The characters a version is split at.
const char* const kSeparators = ".-_";

// One part of a version as the checker reads it.
struct SPart
{
    std::string strText;
    int32_t nRead = 0;
    bool bOverflows = false;  // the number does not fit 32 bits
    bool bEndedEarly = false; // a character other than a digit ends it before the part ends
    char cStop = '\0';        // that character
};

std::vector<SPart> Parts(const std::string& strVersion)
{
    std::vector<SPart> vParts;
    // The checker reads the text up to its first NUL, as a C string.
    const char* p = strVersion.c_str();
    while (*p != '\0')
    {
        p += std::strspn(p, kSeparators);
        if (*p == '\0')
        {
            break;
        }
        const std::size_t nLength = std::strcspn(p, kSeparators);
        SPart part;
        part.strText.assign(p, nLength);
        char* pszEnd = nullptr;
        errno = 0;
        const long nValue = std::strtol(part.strText.c_str(), &pszEnd, 10);
        part.nRead = static_cast<int32_t>(nValue);
        part.bOverflows = errno == ERANGE || static_cast<long>(part.nRead) != nValue;
        part.bEndedEarly = pszEnd == nullptr || *pszEnd != '\0';
        part.cStop = pszEnd != nullptr ? *pszEnd : '\0';
        vParts.push_back(part);
        p += nLength;
    }
    return vParts;
}
} // namespace

bool CVersionRule::HoldsTextCharacters(const std::string& strVersion)
{
    // The checker looks at the text up to its first NUL, as a C string.
    return std::strpbrk(strVersion.c_str(), kTextCharacters) != nullptr;
}

bool CVersionRule::ComparedAsText(const std::string& strRequired, const std::string& strInstalled)
{
    return HoldsTextCharacters(strRequired) || HoldsTextCharacters(strInstalled);
}

std::string CVersionRule::Method(const std::string& strRequired, const std::string& strInstalled)
{
    if (strcasecmp(strRequired.c_str(), strInstalled.c_str()) == 0)
    {
        return "same text";
    }
    return ComparedAsText(strRequired, strInstalled) ? "text" : "numbers";
}

std::string CVersionRule::Meaning(int nResult)
{
    if (nResult > 0)
    {
        return "installed is older";
    }
    if (nResult < 0)
    {
        return "installed is newer";
    }
    return "installed is the same";
}

std::vector<int32_t> CVersionRule::NumbersAsRead(const std::string& strVersion)
{
    std::vector<int32_t> vNumbers;
    for (const SPart& part : Parts(strVersion))
    {
        vNumbers.push_back(part.nRead);
    }
    return vNumbers;
}

std::string CVersionRule::NumbersText(const std::vector<int32_t>& vNumbers)
{
    std::string strText;
    for (const int32_t nNumber : vNumbers)
    {
        strText += (strText.empty() ? "" : ".") + std::to_string(nNumber);
    }
    return strText;
}

bool CVersionRule::HasOverflowingPart(const std::string& strVersion)
{
    if (HoldsTextCharacters(strVersion))
    {
        return false;
    }
    for (const SPart& part : Parts(strVersion))
    {
        if (part.bOverflows)
        {
            return true;
        }
    }
    return false;
}

bool CVersionRule::HasPartEndedEarly(const std::string& strVersion)
{
    if (HoldsTextCharacters(strVersion))
    {
        return false;
    }
    for (const SPart& part : Parts(strVersion))
    {
        if (part.bEndedEarly)
        {
            return true;
        }
    }
    return false;
}

std::string CVersionRule::Caveat(const std::string& strVersion)
{
    if (HoldsTextCharacters(strVersion))
    {
        return std::string();
    }
    std::string strWhy;
    for (const SPart& part : Parts(strVersion))
    {
        std::string strPart;
        if (part.bOverflows)
        {
            strPart = "the part " + Quote(part.strText) + " does not fit the checker's 32-bit numbers and reads as " +
                      std::to_string(part.nRead);
        }
        else if (part.bEndedEarly)
        {
            strPart = "the part " + Quote(part.strText) + " ends at " + Quote(std::string(1, part.cStop)) +
                      " and reads as " + std::to_string(part.nRead);
        }
        if (!strPart.empty())
        {
            strWhy += (strWhy.empty() ? "" : "; ") + strPart;
        }
    }
    if (strWhy.empty())
    {
        return std::string();
    }
    return Quote(strVersion) + " is compared as the numbers " + NumbersText(NumbersAsRead(strVersion)) + " (" + strWhy +
           ")";
}

std::string CVersionRule::ComparisonCaveat(const std::string& strRequired, const std::string& strInstalled)
{
    if (Method(strRequired, strInstalled) != "numbers")
    {
        return std::string();
    }
    std::string strCaveat;
    for (const std::string& strVersion : {strRequired, strInstalled})
    {
        const std::string strOne = Caveat(strVersion);
        if (!strOne.empty())
        {
            strCaveat += (strCaveat.empty() ? "" : "; ") + strOne;
        }
    }
    return strCaveat;
}
