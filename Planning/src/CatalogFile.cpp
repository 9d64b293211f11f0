#include "CatalogFile.h"

#include "RepositoryFileSystem.h"

std::string CCatalogFile::DefaultPath(const std::string& strRepository)
{
    std::string strRoot = strRepository;
    while (strRoot.size() > 1 && strRoot.back() == '/')
    {
        strRoot.pop_back();
    }
    return strRoot + "/" + CCatalog::pszFileName;
}

bool CCatalogFile::Exists(const std::string& strPath)
{
    CRepositoryFileSystem::SEntry entry;
    std::string strError;
    return CRepositoryFileSystem::Examine(strPath, entry, strError) &&
           entry.eKind != CRepositoryFileSystem::EKind::Missing;
}

namespace
{
bool ParseNamed(const std::string& strText, const std::string& strName, SCatalog& catalog, std::string& strProblem)
{
    if (!CCatalog::Parse(strText, catalog, strProblem))
    {
        strProblem = strName + ": " + strProblem;
        return false;
    }
    return true;
}
} // namespace

bool CCatalogFile::Read(const std::string& strPath, SCatalog& catalog, std::string& strProblem)
{
    std::string strText;
    if (!CRepositoryFileSystem::ReadRegularFile(strPath, CCatalog::nMaxBytes, strText, strProblem))
    {
        strProblem = strPath + ": " + strProblem;
        return false;
    }
    return ParseNamed(strText, strPath, catalog, strProblem);
}

bool CCatalogFile::ReadFromTree(const IRepositoryTree& tree, const std::string& strName, SCatalog& catalog,
                                std::string& strProblem)
{
    std::string strText;
    if (!tree.ReadRegularFile(CCatalog::pszFileName, CCatalog::nMaxBytes, strText, strProblem))
    {
        strProblem = strName + ": " + strProblem;
        return false;
    }
    return ParseNamed(strText, strName, catalog, strProblem);
}

bool CCatalogFile::Write(const std::string& strPath, const SCatalog& catalog, std::string& strError)
{
    // A catalog that says what the file says already is not written again:
    // the file keeps its time, and a read-only copy stays untouched.
    const std::string strText = CCatalog::ToText(catalog);
    std::string strExisting;
    std::string strReadError;
    if (CRepositoryFileSystem::ReadRegularFile(strPath, CCatalog::nMaxBytes, strExisting, strReadError) &&
        strExisting == strText)
    {
        return true;
    }
    return CRepositoryFileSystem::ReplaceFile(strPath, strText, strError);
}
