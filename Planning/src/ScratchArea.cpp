#include "ScratchArea.h"

#include "RepositoryFileSystem.h"

CScratchArea::~CScratchArea()
{
    if (!m_strPath.empty())
    {
        CRepositoryFileSystem::RemoveTree(m_strPath);
    }
}

bool CScratchArea::Create(std::string& strError)
{
    return CRepositoryFileSystem::MakePrivateDirectory("vexinspect-plan", m_strPath, strError);
}

bool CScratchArea::NewDirectory(const std::string& strLabel, std::string& strPath, std::string& strError)
{
    // Letters, digits, "." "-" and "_" of the label, at most 40 of them.
    std::string strName;
    for (char c : strLabel)
    {
        if (strName.size() >= 40)
        {
            break;
        }
        const bool bPlain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '.' ||
                            c == '-' || c == '_';
        strName += bPlain ? c : '_';
    }
    strPath = m_strPath + "/" + std::to_string(++m_nDirectories) + "-" + strName;
    return CRepositoryFileSystem::MakeDirectory(strPath, 0700, strError);
}
