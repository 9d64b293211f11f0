#include "PackedRepositoryTree.h"

#include "ArchiveStream.h"
#include "RepositoryLimits.h"

#include <algorithm>
#include <cerrno>
#include <utility>

const std::size_t CPackedRepositoryTree::nMaxMembers = repositorylimits::nMaxTreeEntries;

namespace
{

std::string Quote(const std::string& strText) { return "\"" + strText + "\""; }

// One file of the tree, read from memory.
class CPackedFile : public IFileInput
{
public:
    CPackedFile(const std::string& strData, int64_t nModifiedNs) : m_input(strData), m_nModifiedNs(nModifiedNs) {}
    long Read(void* pBuffer, std::size_t nSize, std::string& strError) override
    {
        return m_input.Read(pBuffer, nSize, strError);
    }
    bool Rewind(std::string& strError) override { return m_input.Rewind(strError); }
    uint64_t Size() const override { return m_input.Size(); }
    int64_t ModifiedNs() const override { return m_nModifiedNs; }

private:
    CMemoryInput m_input;
    int64_t m_nModifiedNs;
};

// The directory a path lies in ("" for the root's entries).
std::string ParentOf(const std::string& strPath)
{
    const std::size_t nSlash = strPath.rfind('/');
    return nSlash == std::string::npos ? std::string() : strPath.substr(0, nSlash);
}

std::string NameOf(const std::string& strPath)
{
    const std::size_t nSlash = strPath.rfind('/');
    return nSlash == std::string::npos ? strPath : strPath.substr(nSlash + 1);
}

} // namespace

bool CPackedRepositoryTree::Load(IRawInput& archive, std::string& strError)
{
    m_mapNodes.clear();
    SNode root;
    root.bDirectory = true;
    root.nMode = 0755;
    m_mapNodes.emplace(std::string(), root);
    CArchiveStream stream;
    if (!stream.Open(archive, strError))
    {
        return false;
    }
    CTarReader reader(stream, nMaxMembers);
    STarMember member;
    std::string strMemberError;
    while (reader.Next(member, strMemberError))
    {
        std::string strData;
        // The stream refuses a compression bomb, so no file here outgrows
        // what the archive may produce.
        if (member.eKind == STarMember::EKind::File &&
            !reader.ReadData(strData, static_cast<std::size_t>(member.nSize), strMemberError))
        {
            strError = "the archive member " + Quote(member.strName) + " cannot be read: " + strMemberError;
            return false;
        }
        if (!AddMember(member, std::move(strData), strError))
        {
            return false;
        }
    }
    if (!strMemberError.empty())
    {
        strError = strMemberError;
        return false;
    }
    for (auto& entry : m_mapNodes)
    {
        std::sort(entry.second.vNames.begin(), entry.second.vNames.end());
    }
    return true;
}

bool CPackedRepositoryTree::AddMember(const STarMember& member, std::string strData, std::string& strError)
{
    const bool bDirectory = member.eKind == STarMember::EKind::Directory;
    // Every directory above the member, made where the archive names none.
    std::string strParent = ParentOf(member.strName);
    std::vector<std::string> vMissing;
    for (;;)
    {
        const auto itParent = m_mapNodes.find(strParent);
        if (itParent != m_mapNodes.end())
        {
            if (!itParent->second.bDirectory)
            {
                strError = "the archive member " + Quote(member.strName) + " lies below the file " +
                           Quote(strParent);
                return false;
            }
            break;
        }
        vMissing.push_back(strParent);
        strParent = ParentOf(strParent);
    }
    for (auto it = vMissing.rbegin(); it != vMissing.rend(); ++it)
    {
        SNode implied;
        implied.bDirectory = true;
        implied.bImplied = true;
        implied.nMode = 0755;
        implied.nNumber = m_mapNodes.size();
        m_mapNodes[ParentOf(*it)].vNames.push_back(NameOf(*it));
        m_mapNodes.emplace(*it, implied);
    }
    const auto itExisting = m_mapNodes.find(member.strName);
    if (itExisting != m_mapNodes.end())
    {
        // A directory implied by an earlier member gets its own header's
        // mode and time; any other name given twice refuses the archive,
        // since which of the two counts would depend on the tool that
        // unpacks it.
        if (!(bDirectory && itExisting->second.bImplied))
        {
            strError = "the archive names " + Quote(member.strName) + " twice";
            return false;
        }
        itExisting->second.bImplied = false;
        itExisting->second.nMode = member.nMode;
        itExisting->second.nModifiedNs = member.nModifiedNs;
        return true;
    }
    SNode node;
    node.bDirectory = bDirectory;
    node.nSize = bDirectory ? 0 : member.nSize;
    node.nModifiedNs = member.nModifiedNs;
    node.nMode = member.nMode;
    node.nNumber = m_mapNodes.size();
    node.strData = std::move(strData);
    m_mapNodes[ParentOf(member.strName)].vNames.push_back(NameOf(member.strName));
    m_mapNodes.emplace(member.strName, std::move(node));
    return true;
}

const CPackedRepositoryTree::SNode* CPackedRepositoryTree::Find(const std::string& strPath,
                                                                std::string& strError) const
{
    const auto itNode = m_mapNodes.find(strPath);
    if (itNode != m_mapNodes.end())
    {
        return &itNode->second;
    }
    for (std::string strParent = ParentOf(strPath); !strParent.empty(); strParent = ParentOf(strParent))
    {
        const auto itParent = m_mapNodes.find(strParent);
        if (itParent != m_mapNodes.end() && !itParent->second.bDirectory)
        {
            strError = CRepositoryFileSystem::ErrorText(ENOTDIR);
            return nullptr;
        }
    }
    strError = CRepositoryFileSystem::ErrorText(ENOENT);
    return nullptr;
}

bool CPackedRepositoryTree::Examine(const std::string& strPath, CRepositoryFileSystem::SEntry& entry,
                                    std::string& /*strError*/) const
{
    entry = CRepositoryFileSystem::SEntry();
    std::string strMissing;
    const SNode* pNode = Find(strPath, strMissing);
    if (pNode == nullptr)
    {
        entry.eKind = CRepositoryFileSystem::EKind::Missing;
        return true;
    }
    entry.eKind = pNode->bDirectory ? CRepositoryFileSystem::EKind::Directory : CRepositoryFileSystem::EKind::Regular;
    entry.nSize = pNode->bDirectory ? 0 : pNode->nSize;
    entry.nModifiedNs = pNode->nModifiedNs;
    entry.nMode = pNode->nMode;
    entry.nInode = static_cast<ino_t>(pNode->nNumber);
    return true;
}

bool CPackedRepositoryTree::ListDirectory(const std::string& strPath, std::vector<std::string>& vNames,
                                          std::string& strError) const
{
    vNames.clear();
    const SNode* pNode = Find(strPath, strError);
    if (pNode == nullptr)
    {
        return false;
    }
    if (!pNode->bDirectory)
    {
        strError = CRepositoryFileSystem::ErrorText(ENOTDIR);
        return false;
    }
    vNames = pNode->vNames;
    return true;
}

bool CPackedRepositoryTree::ReadRegularFile(const std::string& strPath, std::size_t nMaxBytes,
                                            std::string& strContent, std::string& strError) const
{
    strContent.clear();
    const SNode* pNode = Find(strPath, strError);
    if (pNode == nullptr)
    {
        return false;
    }
    if (pNode->bDirectory)
    {
        strError = CRepositoryFileSystem::KindWords(CRepositoryFileSystem::EKind::Directory);
        return false;
    }
    if (pNode->nSize > nMaxBytes)
    {
        strError = "larger than " + std::to_string(nMaxBytes) + " bytes";
        return false;
    }
    strContent = pNode->strData;
    return true;
}

std::unique_ptr<IFileInput> CPackedRepositoryTree::OpenFile(const std::string& strPath, std::string& strError) const
{
    const SNode* pNode = Find(strPath, strError);
    if (pNode == nullptr)
    {
        return nullptr;
    }
    if (pNode->bDirectory)
    {
        strError = CRepositoryFileSystem::KindWords(CRepositoryFileSystem::EKind::Directory);
        return nullptr;
    }
    return std::unique_ptr<IFileInput>(new CPackedFile(pNode->strData, pNode->nModifiedNs));
}
