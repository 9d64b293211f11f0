#include "RepositoryLoader.h"

#include "CatalogFile.h"

CRepositoryLoader::CRepositoryLoader(const std::string& strRoot, const std::string& strWorkDirectory)
    : m_strRoot(strRoot), m_reader(strWorkDirectory), m_source(strRoot, m_reader)
{
}

bool CRepositoryLoader::Load(CRepositoryScanner::EMode eMode, const std::string& strCatalogPath, bool bDigests,
                             SRepositoryLoad& load, std::string& strError)
{
    load = SRepositoryLoad();
    load.strCatalogPath = strCatalogPath;
    if (load.strCatalogPath.empty() && CCatalogFile::Exists(CCatalogFile::DefaultPath(m_strRoot)))
    {
        load.strCatalogPath = CCatalogFile::DefaultPath(m_strRoot);
    }
    if (!load.strCatalogPath.empty())
    {
        load.bCatalogRead = CCatalogFile::Read(load.strCatalogPath, load.catalog, load.strCatalogProblem);
    }
    CRepositoryScanner scanner(m_strRoot, m_source);
    if (eMode == CRepositoryScanner::EMode::Trust && !load.bCatalogRead)
    {
        // Without a usable catalog every package is read from the tree.
        return scanner.Scan(CRepositoryScanner::EMode::Fresh, nullptr, bDigests, load.content, strError);
    }
    load.bCatalogUsed = eMode == CRepositoryScanner::EMode::Trust;
    return scanner.Scan(eMode, load.bCatalogRead ? &load.catalog : nullptr, bDigests, load.content, strError);
}
