#ifndef VEXDEP_DISKREPOSITORYTREE_H
#define VEXDEP_DISKREPOSITORYTREE_H

#include "RepositoryTree.h"

#include <string>

// A repository tree lying on disk below a root directory, read through
// CRepositoryFileSystem.
class CDiskRepositoryTree : public IRepositoryTree
{
public:
    explicit CDiskRepositoryTree(std::string strRoot);

    bool Examine(const std::string& strPath, CRepositoryFileSystem::SEntry& entry,
                 std::string& strError) const override;
    bool ListDirectory(const std::string& strPath, std::vector<std::string>& vNames,
                       std::string& strError) const override;
    bool ReadRegularFile(const std::string& strPath, std::size_t nMaxBytes, std::string& strContent,
                         std::string& strError) const override;
    std::unique_ptr<IFileInput> OpenFile(const std::string& strPath, std::string& strError) const override;

    // Where an entry lies on disk.
    std::string Full(const std::string& strPath) const;

private:
    std::string m_strRoot;
};

#endif // VEXDEP_DISKREPOSITORYTREE_H
