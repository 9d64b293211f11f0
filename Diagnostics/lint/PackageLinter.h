#ifndef VEXDEP_PACKAGELINTER_H
#define VEXDEP_PACKAGELINTER_H

#include "DeviceInfo.h"
#include "LintFinding.h"
#include "XmlSupport.h"

#include <map>
#include <memory>
#include <string>
#include <vector>

// Reads a package as the checker does (its "package.xml" with the same XPath
// query, child walks and attribute rules, and each release directory's
// "PIEConfig.xml") and reports what the checker will do differently from
// what the package seems to say. Reads only; writes nothing.
//
// The rules are grouped by the document they check: LintMarkup.cpp (the XML
// markup of every document), LintPackageDescription.cpp (package.xml),
// LintReleaseDirectories.cpp (the release directories and their
// PIEConfig.xml); LintRules.cpp lists every kind of finding.
class CPackageLinter
{
public:
    explicit CPackageLinter(const std::string& strPackageDirectory);
    ~CPackageLinter();
    CPackageLinter(const CPackageLinter&) = delete;
    CPackageLinter& operator=(const CPackageLinter&) = delete;

    // The findings in the order of the files and lines they point at:
    // package.xml first, then the release directories in order of first use.
    std::vector<SLintFinding> Lint();

    // Every kind of finding, errors first.
    static const std::vector<SLintRule>& Rules();
    static const SLintRule* FindRule(const std::string& strCode);

private:
    // The value of one attribute that a later element may carry over, and
    // the line it was read on.
    struct SCarried
    {
        std::string strValue;
        long nLine = 0;
    };
    // A dependency record as the package reader lists it, for the duplicate
    // rule.
    struct SListed
    {
        std::unique_ptr<CDeviceInfo> pRecord;
        std::string strParentComponentID;
        long nLine = 0;
    };

    // Adds a finding of the kind strCode (with that kind's severity).
    void Add(const std::string& strCode, const std::string& strFile, const xmlNode* pNode,
             const std::string& strMessage);
    void AddAt(const std::string& strCode, const std::string& strFile, long nLine, long nColumn,
               const std::string& strElement, const std::string& strMessage);
    // Parses one of the package's files with the parser's messages; reports
    // a document that does not parse (under strUnparsableCode, followed by
    // strConsequence) and what the parser reads otherwise than written.
    xmlsupport::DocumentPtr ParseAndLintMarkup(const std::string& strFile, const std::string& strPath,
                                               const char* pszUnparsableCode, const std::string& strConsequence);
    void LintMarkup(const std::string& strFile, const std::string& strPath, xmlDoc* pDocument,
                    const std::vector<xmlsupport::SParseDiagnostic>& vDiagnostics);
    // False when the package reader's queries find nothing to read.
    bool LintPackageRoot(xmlDoc* pDocument);
    void LintDependency(xmlNode* pDependency);
    void LintAttributes(xmlNode* pDependency);
    void LintParentDevice(const xmlNode* pParent);
    void LintPlatforms(xmlNode* pDependency);
    void LintSystemID(const xmlNode* pModel, const std::string& strSystemID);
    void LintOperatingSystem(const xmlNode* pOS);
    void LintPCIIdentity(const xmlNode* pPCI, std::map<std::string, SCarried>& mapCarried);
    void LintDuplicates(xmlNode* pDependency, const std::vector<SPCIInfo>& vIdentities);
    void LintRelease(const std::string& strReleaseID, const xmlNode* pFirstUse);
    void LintCollectorCommand(const std::string& strReleaseID, const std::string& strConfigFile,
                              const std::string& strCommand, const xmlNode* pCommand);
    // False when the timeout keeps the collector from running.
    bool LintTimeout(const std::string& strReleaseID, const std::string& strConfigFile, const xmlNode* pPlugin);
    void LintPackageDirectoryPath();

    std::string m_strPackageDirectory;
    std::vector<SLintFinding> m_vFindings;
    // Carried over between all OS and PCI children of the dependencies, in
    // document order, as the package reader does.
    std::map<std::string, SCarried> m_mapOSCarried;
    std::map<std::string, SCarried> m_mapPCICarried;
    std::vector<const xmlNode*> m_vParentsSeen;
    std::vector<SListed> m_vListed;
    std::vector<std::pair<std::string, const xmlNode*>> m_vReleases;
};

#endif // VEXDEP_PACKAGELINTER_H
