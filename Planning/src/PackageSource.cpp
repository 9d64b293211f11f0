#include "PackageSource.h"

#include "ArchivePackage.h"
#include "DirectoryPackage.h"
#include "DiskRepositoryTree.h"
#include "RepositoryFileSystem.h"
#include "Sha256.h"

namespace
{
const char* const kDigestPrefix = "sha256:";

EPackageFormat FormatOf(CArchiveStream::ECompression eCompression)
{
    switch (eCompression)
    {
    case CArchiveStream::ECompression::Gzip:
        return EPackageFormat::TarGzip;
    case CArchiveStream::ECompression::Xz:
        return EPackageFormat::TarXz;
    case CArchiveStream::ECompression::None:
        break;
    }
    return EPackageFormat::Tar;
}
} // namespace

CPackageSource::CPackageSource(const IRepositoryTree& tree, CPackageDescriptionReader& reader)
    : m_tree(tree), m_reader(reader)
{
}

CPackageSource::CPackageSource(const std::string& strRepositoryRoot, CPackageDescriptionReader& reader)
    : m_pOwnedTree(new CDiskRepositoryTree(strRepositoryRoot)), m_tree(*m_pOwnedTree), m_reader(reader)
{
}

std::string CPackageSource::ArchiveStamp(uint64_t nSize, int64_t nModifiedNs)
{
    return CSha256::Of("archive " + std::to_string(nSize) + " " + std::to_string(nModifiedNs));
}

bool CPackageSource::Stamp(const std::string& strPath, bool bDirectory, std::string& strStamp, std::string& strError)
{
    if (bDirectory)
    {
        SDirectoryContent content;
        if (!CDirectoryPackage::Scan(m_tree, strPath, content, strError, false))
        {
            return false;
        }
        strStamp = content.strStamp;
        return true;
    }
    CRepositoryFileSystem::SEntry entry;
    if (!m_tree.Examine(strPath, entry, strError))
    {
        return false;
    }
    if (entry.eKind != CRepositoryFileSystem::EKind::Regular)
    {
        strError = "no longer a regular file";
        return false;
    }
    strStamp = ArchiveStamp(entry.nSize, entry.nModifiedNs);
    return true;
}

bool CPackageSource::Describe(const std::string& strPath, bool bDirectory, bool bDigest,
                              SPackageDescription& description, std::string& strError)
{
    description = SPackageDescription();
    description.strPath = strPath;
    std::string strPackageXml;
    if (bDirectory)
    {
        SDirectoryContent content;
        if (!CDirectoryPackage::Scan(m_tree, strPath, content, strError))
        {
            return false;
        }
        description.eFormat = EPackageFormat::Directory;
        description.nSize = content.nSize;
        description.nModifiedNs = content.nModifiedNs;
        description.strStamp = content.strStamp;
        if (bDigest)
        {
            std::string strDigest;
            if (!CDirectoryPackage::Digest(m_tree, strPath, content, strDigest, strError))
            {
                return false;
            }
            description.strDigest = kDigestPrefix + strDigest;
        }
        strPackageXml.swap(content.strPackageXml);
    }
    else
    {
        const std::unique_ptr<IFileInput> pFile = m_tree.OpenFile(strPath, strError);
        if (!pFile)
        {
            return false;
        }
        SArchiveContent content;
        if (!CArchivePackage::Scan(*pFile, content, strError))
        {
            return false;
        }
        if (!content.bHasPackageXml)
        {
            strError = "the archive has no package.xml at its root";
            return false;
        }
        description.eFormat = FormatOf(content.eCompression);
        description.nSize = pFile->Size();
        description.nModifiedNs = pFile->ModifiedNs();
        description.strStamp = ArchiveStamp(pFile->Size(), pFile->ModifiedNs());
        // Reading an archive once gives its digest as well.
        description.strDigest = kDigestPrefix + content.strDigest;
        strPackageXml.swap(content.strPackageXml);
    }
    return m_reader.Read(strPackageXml, description, strError);
}

bool CPackageSource::CopyMetadata(const SPackageDescription& description,
                                  const std::vector<std::string>& vReleaseDirectories, const std::string& strTarget,
                                  std::string& strDigest, std::string& strError)
{
    std::string strHex;
    bool bCopied = false;
    if (description.eFormat == EPackageFormat::Directory)
    {
        bCopied = CDirectoryPackage::CopyMetadata(m_tree, description.strPath, vReleaseDirectories, strTarget, strHex,
                                                  strError);
    }
    else
    {
        const std::unique_ptr<IFileInput> pFile = m_tree.OpenFile(description.strPath, strError);
        bCopied = pFile && CArchivePackage::ExtractMetadata(*pFile, vReleaseDirectories, strTarget, strHex, strError);
    }
    if (bCopied)
    {
        strDigest = kDigestPrefix + strHex;
    }
    return bCopied;
}
