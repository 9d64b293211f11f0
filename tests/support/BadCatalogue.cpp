#include "BadCatalogue.h"

#include "DeviceInfo.h"
#include "TestSupport.h"

#include <sstream>
#include <stdexcept>

#include <sys/stat.h>
#include <unistd.h>

namespace vextest
{
namespace
{
const std::string kCatalogue = std::string(VEXDEP_SOURCE_DIR) + "/tests/fixtures/bad";

// The catalogue's placeholders: {OUTSIDE}, {PACKAGE}, {BASE} and
// {REPEAT:n:text}, the text n times with "#" as the repetition's number.
std::string Expanded(const std::string& strText, const std::string& strOutside, const std::string& strPackage)
{
    std::ostringstream oss;
    std::size_t nAt = 0;
    for (std::size_t nOpen; (nOpen = strText.find('{', nAt)) != std::string::npos;)
    {
        oss << strText.substr(nAt, nOpen - nAt);
        const std::size_t nClose = strText.find('}', nOpen);
        const std::string strToken = nClose == std::string::npos ? "" : strText.substr(nOpen + 1, nClose - nOpen - 1);
        nAt = nClose == std::string::npos ? nOpen + 1 : nClose + 1;
        if (strToken == "OUTSIDE")
        {
            oss << strOutside;
        }
        else if (strToken == "PACKAGE")
        {
            oss << strPackage;
        }
        else if (strToken == "BASE")
        {
            oss << pszDefaultDownloadBase;
        }
        else if (strToken.compare(0, 7, "REPEAT:") == 0 && strToken.find(':', 7) != std::string::npos)
        {
            const std::size_t nColon = strToken.find(':', 7);
            const unsigned long nTimes = std::stoul(strToken.substr(7, nColon - 7));
            const std::string strUnit = strToken.substr(nColon + 1);
            for (unsigned long n = 0; n < nTimes; ++n)
            {
                for (char c : strUnit)
                {
                    c == '#' ? oss << n : oss << c;
                }
            }
        }
        else
        {
            oss << '{';
            nAt = nOpen + 1;
        }
    }
    oss << strText.substr(nAt);
    return oss.str();
}

void CopyExpanded(const std::string& strFrom, const std::string& strTo, const std::string& strOutside,
                  const std::string& strPackage)
{
    for (const std::string& strName : ListDirectory(strFrom))
    {
        struct stat info;
        lstat((strFrom + "/" + strName).c_str(), &info);
        if (S_ISDIR(info.st_mode))
        {
            MakeDirectory(strTo + "/" + strName);
            CopyExpanded(strFrom + "/" + strName, strTo + "/" + strName, strOutside, strPackage);
            continue;
        }
        WriteFile(strTo + "/" + strName, Expanded(ReadFile(strFrom + "/" + strName), strOutside, strPackage));
        chmod((strTo + "/" + strName).c_str(), info.st_mode & 07777);
    }
}
} // namespace

std::vector<std::string> BadCatalogueCaseNames()
{
    std::vector<std::string> vNames;
    for (const std::string& strName : ListDirectory(kCatalogue))
    {
        if (IsDirectory(kCatalogue + "/" + strName))
        {
            vNames.push_back(strName);
        }
    }
    return vNames;
}

BadCatalogueCase ReadBadCatalogueCase(const std::string& strName)
{
    BadCatalogueCase badCase;
    badCase.strName = strName;
    for (const std::string& strLine : Lines(ReadFile(kCatalogue + "/" + strName + "/expected")))
    {
        const std::size_t nColon = strLine.find(": ");
        if (strLine.empty() || strLine[0] == '#' || nColon == std::string::npos)
        {
            continue;
        }
        const std::string strKey = strLine.substr(0, nColon);
        const std::string strValue = strLine.substr(nColon + 2);
        if (strKey == "outside")
        {
            badCase.strOutsideKind = strValue;
        }
        else if (strKey == "setup")
        {
            badCase.vSetup.push_back(strValue);
        }
        else if (strKey == "env")
        {
            badCase.vEnvironment.push_back(strValue);
        }
    }
    return badCase;
}

void PrepareBadCatalogueCase(const BadCatalogueCase& badCase, const std::string& strPackage,
                             const std::string& strOutside)
{
    if (badCase.strOutsideKind == "fifo")
    {
        mkfifo(strOutside.c_str(), 0644);
    }
    else
    {
        WriteFile(strOutside, "VEXDEP-OUTSIDE-CONTENT");
    }
    CopyExpanded(kCatalogue + "/" + badCase.strName + "/package", strPackage, strOutside, strPackage);
    for (const std::string& strAction : badCase.vSetup)
    {
        std::istringstream iss(strAction);
        std::string strVerb;
        std::string strPath;
        std::string strArgument;
        iss >> strVerb >> strPath >> strArgument;
        const std::string strFull = strPackage + "/" + strPath;
        int nResult = 0;
        if (strVerb == "collector")
        {
            RunCommand({"/bin/mkdir", "-p", strFull.substr(0, strFull.rfind('/'))}, "/");
            WriteFile(strFull, ReadFile(kCatalogue + "/standard-collector.sh"));
            nResult = chmod(strFull.c_str(), strArgument.empty() ? 0755 : std::stoul(strArgument, nullptr, 8));
        }
        else if (strVerb == "mkdir")
        {
            nResult = mkdir(strFull.c_str(), 0755);
        }
        else if (strVerb == "mkfifo")
        {
            nResult = mkfifo(strFull.c_str(), 0644);
        }
        else if (strVerb == "symlink")
        {
            nResult = symlink(Expanded(strArgument, strOutside, strPackage).c_str(), strFull.c_str());
        }
        if (nResult != 0)
        {
            throw std::runtime_error("cannot apply \"" + strAction + "\" to " + badCase.strName);
        }
    }
}
} // namespace vextest
