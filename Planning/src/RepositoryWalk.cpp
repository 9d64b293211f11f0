#include "RepositoryWalk.h"

#include "ArchivePackage.h"
#include "DiskRepositoryTree.h"
#include "RepositoryFileSystem.h"
#include "RepositoryLimits.h"
#include "RepositoryPath.h"

#include <algorithm>

namespace
{
// What the walk says of an entry it neither walks nor reads.
std::string SkippedWords(CRepositoryFileSystem::EKind eKind)
{
    return std::string(CRepositoryFileSystem::KindWords(eKind)) + (eKind == CRepositoryFileSystem::EKind::SymbolicLink
                                                                       ? ": links in a repository are not followed"
                                                                       : ": not read");
}

class CWalker
{
public:
    CWalker(const IRepositoryTree& tree, std::vector<SPackageLocation>& vPackages,
            std::vector<SRefusedPackage>& vSkipped)
        : m_tree(tree), m_vPackages(vPackages), m_vSkipped(vSkipped)
    {
    }

    bool Directory(const std::string& strRelative, std::size_t nDepth, std::string& strError)
    {
        std::vector<std::string> vNames;
        std::string strListError;
        if (!m_tree.ListDirectory(strRelative, vNames, strListError))
        {
            if (strRelative.empty())
            {
                strError = strListError;
                return false;
            }
            m_vSkipped.push_back(SRefusedPackage{strRelative, "the directory cannot be read: " + strListError});
            return true;
        }
        if (std::find(vNames.begin(), vNames.end(), "package.xml") != vNames.end() && !strRelative.empty())
        {
            m_vPackages.push_back(SPackageLocation{strRelative, true});
            return true;
        }
        for (const std::string& strName : vNames)
        {
            if (strName.empty() || strName[0] == '.')
            {
                continue;
            }
            if (++m_nEntries > repositorylimits::nMaxTreeEntries)
            {
                strError = "the repository holds more than " + std::to_string(repositorylimits::nMaxTreeEntries) +
                           " entries";
                return false;
            }
            const std::string strPath = CRepositoryPath::Join(strRelative, strName);
            CRepositoryFileSystem::SEntry entry;
            std::string strExamineError;
            if (!m_tree.Examine(strPath, entry, strExamineError))
            {
                m_vSkipped.push_back(SRefusedPackage{strPath, "cannot be examined: " + strExamineError});
                continue;
            }
            if (entry.eKind == CRepositoryFileSystem::EKind::Directory)
            {
                if (nDepth + 1 > repositorylimits::nMaxDepth)
                {
                    m_vSkipped.push_back(SRefusedPackage{strPath, "lies more than " +
                                                                      std::to_string(repositorylimits::nMaxDepth) +
                                                                      " directories deep: not walked"});
                    continue;
                }
                if (!Directory(strPath, nDepth + 1, strError))
                {
                    return false;
                }
                continue;
            }
            if (entry.eKind == CRepositoryFileSystem::EKind::Regular)
            {
                std::string strOpenError;
                const std::unique_ptr<IFileInput> pFile = m_tree.OpenFile(strPath, strOpenError);
                if (!pFile)
                {
                    m_vSkipped.push_back(SRefusedPackage{strPath, "cannot be read: " + strOpenError});
                    continue;
                }
                if (CArchivePackage::LooksLikeArchive(*pFile))
                {
                    m_vPackages.push_back(SPackageLocation{strPath, false});
                }
                continue;
            }
            m_vSkipped.push_back(SRefusedPackage{strPath, SkippedWords(entry.eKind)});
        }
        return true;
    }

private:
    const IRepositoryTree& m_tree;
    std::vector<SPackageLocation>& m_vPackages;
    std::vector<SRefusedPackage>& m_vSkipped;
    std::size_t m_nEntries = 0;
};
} // namespace

bool CRepositoryWalk::Walk(const IRepositoryTree& tree, std::vector<SPackageLocation>& vPackages,
                           std::vector<SRefusedPackage>& vSkipped, std::string& strError)
{
    vPackages.clear();
    vSkipped.clear();
    CWalker walker(tree, vPackages, vSkipped);
    return walker.Directory(std::string(), 0, strError);
}

bool CRepositoryWalk::Walk(const std::string& strRoot, std::vector<SPackageLocation>& vPackages,
                           std::vector<SRefusedPackage>& vSkipped, std::string& strError)
{
    return Walk(CDiskRepositoryTree(strRoot), vPackages, vSkipped, strError);
}
