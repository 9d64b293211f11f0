#ifndef VEXDEP_REPOSITORYTREE_H
#define VEXDEP_REPOSITORYTREE_H

#include "RawInput.h"
#include "RepositoryFileSystem.h"

#include <cstddef>
#include <memory>
#include <string>
#include <vector>

// A repository's tree as the repository reader sees it, read-only. Entries
// are named by their path relative to the root ("" is the root itself,
// "/"-separated). The walk, the package reader and the copy of a package's
// metadata read a repository only through this, so that a repository lying
// on disk (CDiskRepositoryTree) and one packed into an archive and read
// into memory (CPackedRepositoryTree) give the same packages, stamps and
// digests. Each function keeps the contract of its CRepositoryFileSystem
// namesake: a link is never followed, a failure is a result with the
// reason.
class IRepositoryTree
{
public:
    virtual ~IRepositoryTree() = default;

    // What the entry is; true with kind Missing when there is none.
    virtual bool Examine(const std::string& strPath, CRepositoryFileSystem::SEntry& entry,
                         std::string& strError) const = 0;
    // The names in a directory (without "." and ".."), sorted bytewise.
    virtual bool ListDirectory(const std::string& strPath, std::vector<std::string>& vNames,
                               std::string& strError) const = 0;
    // The content of a regular file of at most nMaxBytes.
    virtual bool ReadRegularFile(const std::string& strPath, std::size_t nMaxBytes, std::string& strContent,
                                 std::string& strError) const = 0;
    // A regular file opened for reading in pieces; null, with the reason,
    // when it cannot be.
    virtual std::unique_ptr<IFileInput> OpenFile(const std::string& strPath, std::string& strError) const = 0;
};

#endif // VEXDEP_REPOSITORYTREE_H
