#include "RepositoryLoader.h"

#include "CatalogFile.h"
#include "DiskRepositoryTree.h"

#include <utility>

CRepositoryLoader::CRepositoryLoader(const std::string& strRoot, const std::string& strWorkDirectory)
    : CRepositoryLoader(std::unique_ptr<IRepositoryTree>(new CDiskRepositoryTree(strRoot)), strRoot, strWorkDirectory)
{
}

CRepositoryLoader::CRepositoryLoader(std::unique_ptr<IRepositoryTree> pTree, const std::string& strRoot,
                                     const std::string& strWorkDirectory)
    : m_strRoot(strRoot), m_pTree(std::move(pTree)), m_reader(strWorkDirectory), m_source(*m_pTree, m_reader)
{
}

bool CRepositoryLoader::Load(CRepositoryScanner::EMode eMode, const std::string& strCatalogPath, bool bDigests,
                             SRepositoryLoad& load, std::string& strError)
{
    load = SRepositoryLoad();
    load.strCatalogPath = strCatalogPath;
    if (!load.strCatalogPath.empty())
    {
        load.bCatalogRead = CCatalogFile::Read(load.strCatalogPath, load.catalog, load.strCatalogProblem);
    }
    else
    {
        // The repository's own catalog, when something lies at its place.
        CRepositoryFileSystem::SEntry entry;
        std::string strExamineError;
        if (m_pTree->Examine(CCatalog::pszFileName, entry, strExamineError) &&
            entry.eKind != CRepositoryFileSystem::EKind::Missing)
        {
            load.strCatalogPath = CCatalogFile::DefaultPath(m_strRoot);
            load.bCatalogRead =
                CCatalogFile::ReadFromTree(*m_pTree, load.strCatalogPath, load.catalog, load.strCatalogProblem);
        }
    }
    CRepositoryScanner scanner(m_source);
    if (eMode == CRepositoryScanner::EMode::Trust && !load.bCatalogRead)
    {
        // Without a usable catalog every package is read from the tree.
        return scanner.Scan(CRepositoryScanner::EMode::Fresh, nullptr, bDigests, load.content, strError);
    }
    load.bCatalogUsed = eMode == CRepositoryScanner::EMode::Trust;
    return scanner.Scan(eMode, load.bCatalogRead ? &load.catalog : nullptr, bDigests, load.content, strError);
}
