#ifndef VEXDEP_REPOSITORYPACKER_H
#define VEXDEP_REPOSITORYPACKER_H

#include "Catalog.h"
#include "PackageSource.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

// What packing a repository did.
struct SRepositoryPack
{
    std::size_t nPackages = 0;             // packages in the archive
    std::vector<SRefusedPackage> vRefused; // packages left out, and why
    std::vector<SRefusedPackage> vSkipped; // links and special files of the tree, not followed or read
    uint64_t nRepositoryBytes = 0;         // the packed packages' bytes in the repository
    uint64_t nMetadataBytes = 0;           // the bytes of the files in the archive
    uint64_t nArchiveBytes = 0;            // the archive's size
    std::size_t nMembers = 0;              // its members (files and directories)
    int64_t nModifiedSeconds = 0;          // the modification time every member carries
};

// Packs what a plan needs of a repository into one gzip tar archive: each
// usable package as a directory at its repository path with its
// package.xml and the release directories its dependencies name
// (collectors included), never its payload, and catalog.json, the catalog
// of that very tree. An archive package of the repository becomes a
// directory package of the packed tree.
//
// The packed tree is built in a private scratch directory, every entry with
// the permission bits 0755 (directories and files with an executable bit)
// or 0644, and the newest modification time of the repository's packages
// in whole seconds, which tar keeps exactly: the tree that unpacking the
// archive gives matches its catalog, stamps included, and the same
// repository gives the same archive on every run.
class CRepositoryPacker
{
public:
    enum class EOutcome
    {
        Packed,
        RepositoryUnreadable,
        CannotWrite
    };

    explicit CRepositoryPacker(const std::string& strRepository);

    // The archive's bytes in strArchive; the reason in strError otherwise.
    EOutcome Pack(std::string& strArchive, SRepositoryPack& pack, std::string& strError);

private:
    bool CopyPackages(const std::vector<SPackageDescription>& vPackages, CPackageSource& source,
                      const std::string& strTree, SRepositoryPack& pack, std::string& strError);
    bool WriteCatalog(const std::string& strTree, const std::string& strReaderDirectory, SRepositoryPack& pack,
                      std::string& strError);

    std::string m_strRepository;
};

#endif // VEXDEP_REPOSITORYPACKER_H
