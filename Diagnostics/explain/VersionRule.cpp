#include "VersionRule.h"

#include <cstring>

#include <strings.h>

namespace
{
// The characters that switch the comparison to text: the 52 ASCII letters
// and the blank.
const char* const kTextCharacters = "abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ ";
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
