#ifndef VEXDEP_PACKAGESOURCE_H
#define VEXDEP_PACKAGESOURCE_H

#include "PackageDescription.h"
#include "PackageDescriptionReader.h"
#include "RepositoryTree.h"

#include <memory>

#include <string>
#include <vector>

// Reads one package of the repository, whatever its format: its
// description (for the catalog) and its metadata (for a plan). The package
// is named by its path relative to the repository root; its format is
// known from the walk (a directory, or an archive).
class CPackageSource
{
public:
    // The repository's tree, which must outlive the source.
    CPackageSource(const IRepositoryTree& tree, CPackageDescriptionReader& reader);
    // The repository on disk below strRepositoryRoot.
    CPackageSource(const std::string& strRepositoryRoot, CPackageDescriptionReader& reader);

    const IRepositoryTree& Tree() const { return m_tree; }

    // Reads the package at strPath into description: where it is, its
    // stamp, identity, devices and dependencies, and (with bDigest) its
    // content digest. False, with the reason, when the package is refused.
    bool Describe(const std::string& strPath, bool bDirectory, bool bDigest, SPackageDescription& description,
                  std::string& strError);
    // The stamp of the package as it lies now (without reading its
    // content), to compare with a catalog's.
    bool Stamp(const std::string& strPath, bool bDirectory, std::string& strStamp, std::string& strError);
    // Writes package.xml and the release directories of the package into
    // strTarget (an empty directory); strDigest receives the digest of the
    // whole package, read on the way.
    bool CopyMetadata(const SPackageDescription& description, const std::vector<std::string>& vReleaseDirectories,
                      const std::string& strTarget, std::string& strDigest, std::string& strError);

    // The stamp of an archive from its size and modification time.
    static std::string ArchiveStamp(uint64_t nSize, int64_t nModifiedNs);

private:
    std::unique_ptr<IRepositoryTree> m_pOwnedTree;
    const IRepositoryTree& m_tree;
    CPackageDescriptionReader& m_reader;
};

#endif // VEXDEP_PACKAGESOURCE_H
