#include "DiskRepositoryTree.h"


#include <utility>

CDiskRepositoryTree::CDiskRepositoryTree(std::string strRoot) : m_strRoot(std::move(strRoot)) {}

std::string CDiskRepositoryTree::Full(const std::string& strPath) const
{
    return strPath.empty() ? m_strRoot : m_strRoot + "/" + strPath;
}

bool CDiskRepositoryTree::Examine(const std::string& strPath, CRepositoryFileSystem::SEntry& entry,
                                  std::string& strError) const
{
    return CRepositoryFileSystem::Examine(Full(strPath), entry, strError);
}

bool CDiskRepositoryTree::ListDirectory(const std::string& strPath, std::vector<std::string>& vNames,
                                        std::string& strError) const
{
    return CRepositoryFileSystem::ListDirectory(Full(strPath), vNames, strError);
}

bool CDiskRepositoryTree::ReadRegularFile(const std::string& strPath, std::size_t nMaxBytes, std::string& strContent,
                                          std::string& strError) const
{
    return CRepositoryFileSystem::ReadRegularFile(Full(strPath), nMaxBytes, strContent, strError);
}

std::unique_ptr<IFileInput> CDiskRepositoryTree::OpenFile(const std::string& strPath, std::string& strError) const
{
    std::unique_ptr<CRegularFileReader> pFile(new CRegularFileReader());
    if (!pFile->Open(Full(strPath), strError))
    {
        return nullptr;
    }
    return pFile;
}
