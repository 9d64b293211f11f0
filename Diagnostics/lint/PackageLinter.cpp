#include "PackageLinter.h"

#include "LintSupport.h"
#include "PackageDirectory.h"
#include "PlatformLayer.h"
#include "ShellCharacters.h"

using namespace lintsupport;

namespace
{
// The package reader's query for the dependency entries, exactly.
const char* const kDependenciesXPath = " //SoftwareComponent/SupportedDevices/Device/Dependency | "
                                       "//SoftwareComponent/SupportedDevices/Device/SoftDependency";
} // namespace

CPackageLinter::CPackageLinter(const std::string& strPackageDirectory) : m_strPackageDirectory(strPackageDirectory)
{
    if (m_strPackageDirectory.empty())
    {
        m_strPackageDirectory = ".";
    }
}

CPackageLinter::~CPackageLinter() = default;

void CPackageLinter::Add(const std::string& strCode, const std::string& strFile, const xmlNode* pNode,
                         const std::string& strMessage)
{
    AddAt(strCode, strFile, LineOf(pNode), 0, NameOf(pNode), strMessage);
}

void CPackageLinter::AddAt(const std::string& strCode, const std::string& strFile, long nLine, long nColumn,
                           const std::string& strElement, const std::string& strMessage)
{
    const SLintRule* pRule = FindRule(strCode);
    SLintFinding finding;
    finding.strCode = strCode;
    finding.eSeverity = pRule != nullptr ? pRule->eSeverity : SLintFinding::ESeverity::Error;
    finding.strFile = strFile;
    finding.nLine = nLine;
    finding.nColumn = nColumn;
    finding.strElement = strElement;
    finding.strMessage = strMessage;
    m_vFindings.push_back(finding);
}

std::vector<SLintFinding> CPackageLinter::Lint()
{
    m_vFindings.clear();
    m_mapOSCarried.clear();
    m_mapPCICarried.clear();
    m_vParentsSeen.clear();
    m_vListed.clear();
    m_vReleases.clear();

    LintPackageDirectoryPath();
    const std::string strPackagePath = m_strPackageDirectory + "/" + kPackageFile;
    if (!CPlatformLayer::IsFileExistsAbs(strPackagePath))
    {
        Add("package-missing", kPackageFile, nullptr, "package.xml does not exist: the checker finds no dependency");
        return m_vFindings;
    }
    // As the package reader: blank text nodes are dropped, so that an
    // element's first child is its first real child.
    xmlsupport::SetKeepBlanksDefault(false);
    xmlsupport::DocumentPtr pDocument =
        ParseAndLintMarkup(kPackageFile, strPackagePath, "package-unparsable", "the checker finds no dependency");
    if (!pDocument || !LintPackageRoot(pDocument.get()))
    {
        return m_vFindings;
    }

    xmlsupport::EvalStatus eStatus = xmlsupport::EvalStatus::Empty;
    xmlsupport::NodeSetPtr pDependencies = xmlsupport::Evaluate(pDocument.get(), kDependenciesXPath, eStatus);
    const std::size_t nCount = xmlsupport::NodeCount(pDependencies.get());
    for (std::size_t i = 0; i < nCount; ++i)
    {
        LintDependency(xmlsupport::NodeAt(pDependencies.get(), i));
    }
    for (const auto& release : m_vReleases)
    {
        LintRelease(release.first, release.second);
    }
    m_vListed.clear();
    return m_vFindings;
}

void CPackageLinter::LintPackageDirectoryPath()
{
    // The path as the checker builds the collectors' command lines from it:
    // the working directory, with every link resolved.
    std::string strPath;
    {
        CPackageDirectory directory;
        std::string strError;
        if (!directory.Enter(m_strPackageDirectory, strError))
        {
            return;
        }
        strPath = CPlatformLayer::getCurrentDirectory();
    }
    const std::string strShown = CShellCharacters::Shown(strPath);
    if (!strShown.empty())
    {
        AddAt("package-directory-shell-characters", kPackageFile, 0, 0, std::string(),
              "the package directory " + strPath + " holds " + strShown +
                  ": every collector's command line holds it unquoted, so the shell splits or interprets it and no "
                  "collector runs from this directory");
    }
}
