#include "RepositoryPath.h"

namespace
{
// Splits at "/", drops empty and "." components; false on "..".
bool Normalise(const std::string& strPath, std::string& strNormalised)
{
    strNormalised.clear();
    std::size_t nStart = 0;
    while (nStart <= strPath.size())
    {
        std::size_t nEnd = strPath.find('/', nStart);
        if (nEnd == std::string::npos)
        {
            nEnd = strPath.size();
        }
        const std::string strPart = strPath.substr(nStart, nEnd - nStart);
        nStart = nEnd + 1;
        if (strPart.empty() || strPart == ".")
        {
            continue;
        }
        if (strPart == "..")
        {
            return false;
        }
        strNormalised += (strNormalised.empty() ? "" : "/") + strPart;
    }
    return true;
}
} // namespace

bool CRepositoryPath::FromDependencyPath(const std::string& strPath, std::string& strNormalised)
{
    std::string strSlashes = strPath;
    for (char& c : strSlashes)
    {
        if (c == '\\')
        {
            c = '/';
        }
    }
    return Normalise(strSlashes, strNormalised) && !strNormalised.empty();
}

bool CRepositoryPath::FromReleaseID(const std::string& strReleaseID, std::string& strNormalised)
{
    return Normalise(strReleaseID, strNormalised);
}

bool CRepositoryPath::IsWithin(const std::string& strPath, const std::string& strDirectory)
{
    if (strDirectory.empty())
    {
        return strPath.find('/') == std::string::npos;
    }
    return strPath == strDirectory ||
           (strPath.size() > strDirectory.size() && strPath.compare(0, strDirectory.size(), strDirectory) == 0 &&
            strPath[strDirectory.size()] == '/');
}

std::string CRepositoryPath::Join(const std::string& strBase, const std::string& strRelative)
{
    if (strBase.empty())
    {
        return strRelative;
    }
    return strRelative.empty() ? strBase : strBase + "/" + strRelative;
}
