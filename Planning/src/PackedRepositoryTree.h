#ifndef VEXDEP_PACKEDREPOSITORYTREE_H
#define VEXDEP_PACKEDREPOSITORYTREE_H

#include "RepositoryTree.h"
#include "TarReader.h"

#include <map>
#include <string>
#include <vector>

// A repository packed into one archive (as vexinspect repo pack writes it:
// a tar, plain or compressed, holding the packages' metadata and the
// catalog) and read into memory, so that a plan reads it where it lies,
// without unpacking hundreds of directories first. It holds what unpacking
// the archive would have made: the same names, kinds, sizes, permission
// bits and modification times, so the catalog packed with it holds for it
// as it does for the unpacked tree.
//
// The archive is read with the package reader's checks (no link, device,
// absolute name or ".." component; a compression bomb is refused); a name
// given twice, or a member below a file, refuses the archive. A directory
// that only the names of its members imply gets mode 0755 and time 0.
class CPackedRepositoryTree : public IRepositoryTree
{
public:
    // The most members a packed repository holds.
    static const std::size_t nMaxMembers;

    // Reads the archive; false, with the reason, when it cannot be read or
    // is refused.
    bool Load(IRawInput& archive, std::string& strError);

    bool Examine(const std::string& strPath, CRepositoryFileSystem::SEntry& entry,
                 std::string& strError) const override;
    bool ListDirectory(const std::string& strPath, std::vector<std::string>& vNames,
                       std::string& strError) const override;
    bool ReadRegularFile(const std::string& strPath, std::size_t nMaxBytes, std::string& strContent,
                         std::string& strError) const override;
    std::unique_ptr<IFileInput> OpenFile(const std::string& strPath, std::string& strError) const override;

    // The entries below the root, directories the members only imply included.
    std::size_t EntryCount() const { return m_mapNodes.size() - 1; }

private:
    struct SNode
    {
        bool bDirectory = false;
        bool bImplied = false; // a directory no member named (yet)
        uint64_t nSize = 0;
        int64_t nModifiedNs = 0;
        mode_t nMode = 0;
        uint64_t nNumber = 0; // stands for the inode number
        std::string strData;
        std::vector<std::string> vNames; // of a directory's entries
    };

    // The node of a path, or null; strError says why when a part of the
    // path is a file (the system's "Not a directory").
    const SNode* Find(const std::string& strPath, std::string& strError) const;
    bool AddMember(const STarMember& member, std::string strData, std::string& strError);

    std::map<std::string, SNode> m_mapNodes;
};

#endif // VEXDEP_PACKEDREPOSITORYTREE_H
