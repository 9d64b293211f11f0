#include "PackageDirectory.h"

#include "PlatformLayer.h"

CPackageDirectory::CPackageDirectory() : m_strStartedIn(CPlatformLayer::getCurrentDirectory()) {}

CPackageDirectory::~CPackageDirectory()
{
    if (m_bMoved)
    {
        CPlatformLayer::setCurrentDirectory(m_strStartedIn);
    }
}

bool CPackageDirectory::Enter(const std::string& strPath, std::string& strError)
{
    if (strPath.empty())
    {
        return true;
    }
    // Not the checker's change of directory, which reports no failure: a
    // directory that cannot be entered must not leave the command in the
    // current one.
    if (!CPlatformLayer::ChangeDirectory(strPath, strError))
    {
        return false;
    }
    m_bMoved = true;
    return true;
}

bool CPackageDirectory::CanEnter(const std::string& strPath, std::string& strError)
{
    CPackageDirectory directory;
    return directory.Enter(strPath, strError);
}

std::string CPackageDirectory::ErrorLine(const std::string& strSubcommand, const std::string& strPath,
                                         const std::string& strError)
{
    return "vexinspect " + strSubcommand + ": cannot enter the package directory " + strPath + ": " + strError;
}
