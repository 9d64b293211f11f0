#ifndef VEXDEP_SOFTWARECOMPONENTINFO_H
#define VEXDEP_SOFTWARECOMPONENTINFO_H

#include "DeviceInfo.h"
#include "XmlSupport.h"

#include <cstddef>
#include <map>
#include <string>
#include <unordered_set>
#include <vector>

// The reader of the package description "package.xml": the package's own
// identity, the devices it supports, its context types and, above all, the
// hard and soft dependency entries that the checker evaluates.
//
// Most queries read the file again from its path before they evaluate their
// XPath expression (the new document replaces, and so frees, the one held
// before); GetValue and the queries built on it use the document held since
// construction. Node sets returned by the public XPath functions point into
// the document held at the time: they must not be used after the next query
// that reads the file again.
class CSoftwareComponentInfo
{
public:
    // Reads "package.xml" from the working directory; switches logging on
    // when the marker file exists there.
    CSoftwareComponentInfo();
    // Reads the named file from the working directory; never switches
    // logging on.
    explicit CSoftwareComponentInfo(const char* pszFileName);
    // Reads a package description held in memory. The file path stays
    // empty, so queries that read the file again find nothing.
    explicit CSoftwareComponentInfo(std::string& strDocument);
    ~CSoftwareComponentInfo();

    CSoftwareComponentInfo(const CSoftwareComponentInfo&) = delete;
    CSoftwareComponentInfo& operator=(const CSoftwareComponentInfo&) = delete;

    // Loading step of the default constructor.
    void ParseXMl();

    // A non-empty XPath result, or null (each failure logged).
    xmlsupport::NodeSetPtr GetNodeSet(xmlDoc* pDoc, const xmlChar* pszXPath);
    // The same, logging only its two error lines.
    xmlsupport::NodeSetPtr getnodeset(xmlDoc* pDoc, const xmlChar* pszXPath);
    // Reads "package.xml" again and selects the supported devices.
    xmlsupport::NodeSetPtr ParseXmlUsingXpath();
    // Reads the file path again and evaluates pszXPath.
    xmlsupport::NodeSetPtr ParseXmlUsingXpath(const char* pszXPath);
    // The attribute's value, or null when the attribute or its value is
    // absent. The text belongs to the document.
    const char* GetAttributeValue(xmlNode* pNode, const char* pszName);
    // An attribute value or the first text of the nodes selected in the
    // held document; empty when there is none.
    std::string GetValue(const std::string& strXPath, const std::string& strAttributeName);

    // Component identity.
    std::string GetComponentID();
    std::string GetMinComponentID();
    std::string GetComponentType();
    std::string GetComponentVersion();
    std::string GetComponentDisplayString();
    std::string GetComponentTypeDisplayString();
    std::string GetPackageID();
    int getPresenceOfRollbackInfo();

    // Supported devices and marketing names.
    std::vector<SPCIInfo> GetSupportedDevices();
    std::vector<SPCIInfo> GetAllSupportedDevices();
    std::string getMarketingNameForPCIDevice(SPCIInfo& pciInfo);
    std::map<std::string, std::string> getCompIDMarkNameInfo();
    std::string getMarketingNameForNonPCIDevice(std::string& strComponentID);

    // Dependency entries. The records belong to the caller.
    std::vector<CDeviceInfo*> getDependencyInfo();
    // "0x" + systemID of every Model/DepModel under pNode and the Brand or
    // DepBrand siblings that follow it.
    std::vector<std::string> getPlatformInfo(xmlNode* pNode);
    // Appends pRecord to vList unless an entry there is the same dependency
    // (same compared fields and same parent component ID). A refused record
    // is released and pRecord set to null.
    void AddDependencyInfo(std::vector<CDeviceInfo*>& vList, CDeviceInfo*& pRecord);

    // Context types by priority.
    std::map<unsigned int, CContextList> GetSupportedContextTypes();

private:
    // The re-read of the package description that query methods make: the
    // held document stays when the file has not changed since it was parsed.
    void ReadDocumentAgain();

    // A listed dependency as the duplicate index keeps it: the record, its
    // parent component ID and the hash of both.
    struct SIndexedDependency
    {
        const CDeviceInfo* pRecord;
        std::string strParentComponentID;
        std::size_t nHash;
    };
    struct SIndexedDependencyHash
    {
        std::size_t operator()(const SIndexedDependency& entry) const { return entry.nHash; }
    };
    struct SIndexedDependencyEqual
    {
        bool operator()(const SIndexedDependency& left, const SIndexedDependency& right) const;
    };
    using DependencyIndex = std::unordered_set<SIndexedDependency, SIndexedDependencyHash, SIndexedDependencyEqual>;

    static SIndexedDependency MakeIndexEntry(const CDeviceInfo* pRecord);
    std::vector<SPCIInfo> ReadSupportedDevices(bool bWithNonPCIDevices);
    void SwitchLoggingOn();

    std::string m_strFilePath;
    xmlsupport::DocumentPtr m_pDocument;
    // What the file looked like when the held document was parsed from it.
    xmlsupport::SParseStamp m_ParseStamp;
    std::map<unsigned int, CContextList> m_mapContextTypes;

    // While getDependencyInfo builds its list, the records in it are indexed
    // here so that each duplicate test is one hash look-up. The index is
    // bound to that one list and dropped before the list is handed out.
    const std::vector<CDeviceInfo*>* m_pIndexedList = nullptr;
    DependencyIndex m_DependencyIndex;
};

#endif // VEXDEP_SOFTWARECOMPONENTINFO_H
