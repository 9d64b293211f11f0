#include "ArchivePackage.h"

#include "RepositoryFileSystem.h"
#include "RepositoryLimits.h"
#include "RepositoryPath.h"

#include <set>

namespace
{
const char* const kPackageXml = "package.xml";

std::string Quote(const std::string& strText) { return "\"" + strText + "\""; }

bool IsMetadata(const STarMember& member, const std::vector<std::string>& vReleaseDirectories)
{
    if (member.strName == kPackageXml)
    {
        return true;
    }
    for (const std::string& strRelease : vReleaseDirectories)
    {
        // The package's own directory as a release directory: its files,
        // not its subdirectories.
        if (CRepositoryPath::IsWithin(member.strName, strRelease) &&
            !(strRelease.empty() && member.eKind == STarMember::EKind::Directory))
        {
            return true;
        }
    }
    return false;
}

// Reads every member, refusing a name seen twice; calls visit for each.
template <typename Visit>
bool ForEachMember(IRawInput& input, CArchiveStream& stream, Visit visit, std::string& strError)
{
    if (!stream.Open(input, strError))
    {
        return false;
    }
    CTarReader reader(stream);
    std::set<std::string> setNames;
    STarMember member;
    while (reader.Next(member, strError))
    {
        if (!setNames.insert(member.strName).second)
        {
            strError = "the archive member " + Quote(member.strName) + " appears twice";
            return false;
        }
        if (!visit(reader, member, strError))
        {
            return false;
        }
    }
    return strError.empty();
}
} // namespace

bool CArchivePackage::LooksLikeArchive(IRawInput& input)
{
    CArchiveStream stream;
    std::string strError;
    if (!stream.Open(input, strError))
    {
        return false;
    }
    char block[512];
    std::size_t nHave = 0;
    while (nHave < sizeof(block))
    {
        const long nRead = stream.Read(block + nHave, sizeof(block) - nHave, strError);
        if (nRead <= 0)
        {
            break;
        }
        nHave += static_cast<std::size_t>(nRead);
    }
    return CTarReader::IsHeader(block, nHave);
}

bool CArchivePackage::Scan(IRawInput& input, SArchiveContent& content, std::string& strError)
{
    content = SArchiveContent();
    CArchiveStream stream;
    const bool bRead = ForEachMember(
        input, stream,
        [&content](CTarReader& reader, const STarMember& member, std::string& strMemberError) {
            content.vMembers.push_back(member);
            if (member.strName == kPackageXml && member.eKind == STarMember::EKind::File)
            {
                content.bHasPackageXml = true;
                if (!reader.ReadData(content.strPackageXml, repositorylimits::nMaxPackageXmlBytes, strMemberError))
                {
                    strMemberError = "package.xml in the archive is " + strMemberError;
                    return false;
                }
            }
            return true;
        },
        strError);
    if (!bRead)
    {
        return false;
    }
    content.eCompression = stream.Compression();
    return stream.FinishDigest(content.strDigest, strError);
}

bool CArchivePackage::ExtractMetadata(IRawInput& input, const std::vector<std::string>& vReleaseDirectories,
                                      const std::string& strTarget, std::string& strDigest, std::string& strError)
{
    CArchiveStream stream;
    uint64_t nWritten = 0;
    const bool bRead = ForEachMember(
        input, stream,
        [&](CTarReader& reader, const STarMember& member, std::string& strMemberError) {
            if (!IsMetadata(member, vReleaseDirectories))
            {
                return true;
            }
            const std::size_t nSlash = member.strName.rfind('/');
            const std::string strParent = nSlash == std::string::npos ? std::string()
                                                                      : member.strName.substr(0, nSlash);
            if (!CRepositoryFileSystem::MakeDirectories(strTarget, strParent, strMemberError))
            {
                return false;
            }
            const std::string strPath = strTarget + "/" + member.strName;
            if (member.eKind == STarMember::EKind::Directory)
            {
                CRepositoryFileSystem::SEntry entry;
                if (CRepositoryFileSystem::Examine(strPath, entry, strMemberError) &&
                    entry.eKind == CRepositoryFileSystem::EKind::Directory)
                {
                    return true;
                }
                return CRepositoryFileSystem::MakeDirectory(strPath, 0755, strMemberError);
            }
            nWritten += member.nSize;
            if (nWritten > repositorylimits::nMaxMetadataBytes)
            {
                strMemberError = "its package.xml and release directories hold more than " +
                                 std::to_string(repositorylimits::nMaxMetadataBytes) + " bytes";
                return false;
            }
            std::string strData;
            if (!reader.ReadData(strData, static_cast<std::size_t>(repositorylimits::nMaxMetadataBytes),
                                 strMemberError))
            {
                return false;
            }
            // Read and write permission for the owner, execute as the
            // archive gives it; nothing set-user-ID or writable by others.
            const mode_t nMode = (member.nMode & 0755) | 0600;
            return CRepositoryFileSystem::CreateFile(strPath, strData, nMode, strMemberError);
        },
        strError);
    return bRead && stream.FinishDigest(strDigest, strError);
}
