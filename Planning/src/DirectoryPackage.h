#ifndef VEXDEP_DIRECTORYPACKAGE_H
#define VEXDEP_DIRECTORYPACKAGE_H

#include "RepositoryTree.h"

#include <cstdint>
#include <string>
#include <vector>

#include <sys/types.h>

// One file or directory of a directory package.
struct SPackageEntry
{
    std::string strPath; // relative to the package directory
    bool bDirectory = false;
    uint64_t nSize = 0;
    int64_t nModifiedNs = 0;
    mode_t nMode = 0;
};

// What a walk of a directory package found.
struct SDirectoryContent
{
    std::string strPackageXml;
    std::vector<SPackageEntry> vEntries; // in path order
    uint64_t nSize = 0;                  // the bytes of its files
    int64_t nModifiedNs = 0;             // the newest modification time of its entries
    std::string strStamp;                // digest of every entry's path, size and modification time
};

// A package of the repository held as a directory with package.xml. A
// package from outside holds regular files and directories only: a
// symbolic link, a named pipe, a device or a socket anywhere in it refuses
// the package (with the entry's path), as do more than
// repositorylimits::nMaxPackageEntries entries or a deeper tree than
// repositorylimits::nMaxDepth.
class CDirectoryPackage
{
public:
    // strPackage: the package's directory in the tree.
    // Walks the package (examining each entry, reading only package.xml,
    // and that only with bReadPackageXml).
    static bool Scan(const IRepositoryTree& tree, const std::string& strPackage, SDirectoryContent& content,
                     std::string& strError, bool bReadPackageXml = true);
    // The digest of the content: the path of every directory, and the path,
    // executable bit, size and bytes of every file, in path order.
    static bool Digest(const IRepositoryTree& tree, const std::string& strPackage, const SDirectoryContent& content,
                       std::string& strDigest, std::string& strError);
    // Copies package.xml and the release directories (relative directories
    // as CRepositoryPath::FromReleaseID gives them) below strTarget, an
    // empty directory; strDigest receives the package's digest, computed on
    // the way from the same reads.
    static bool CopyMetadata(const IRepositoryTree& tree, const std::string& strPackage,
                             const std::vector<std::string>& vReleaseDirectories, const std::string& strTarget,
                             std::string& strDigest, std::string& strError);
    // The same three, of a package directory on disk.
    static bool Scan(const std::string& strDirectory, SDirectoryContent& content, std::string& strError,
                     bool bReadPackageXml = true);
    static bool Digest(const std::string& strDirectory, const SDirectoryContent& content, std::string& strDigest,
                       std::string& strError);
    static bool CopyMetadata(const std::string& strDirectory, const std::vector<std::string>& vReleaseDirectories,
                             const std::string& strTarget, std::string& strDigest, std::string& strError);

    // The stamp of a list of entries.
    static std::string StampOf(const std::vector<SPackageEntry>& vEntries);
};

#endif // VEXDEP_DIRECTORYPACKAGE_H
