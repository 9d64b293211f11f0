#ifndef VEXDEP_DEVICEINVENTORYINFO_H
#define VEXDEP_DEVICEINVENTORYINFO_H

#include "DeviceInfo.h"
#include "XmlSupport.h"

#include <string>
#include <vector>

// Reader of an inventory document (root element SVMInventory), given either
// as the path of an existing file or as the XML text itself. It answers which
// devices are present with which installed versions, whether the collector
// reported a failure, which operating system runs and which system this is.
//
// After parsing, the constructor switches libxml2's process-wide keep-blanks
// default off: every document parsed later in the process drops blank text
// nodes, so that the first child of a Device element is its first element.
class CDeviceInventoryInfo
{
public:
    explicit CDeviceInventoryInfo(const std::string& strSource);
    // Frees the document (if any) and then runs libxml2's global clean-up.
    virtual ~CDeviceInventoryInfo();

    // One new record per Device element, owned by the caller.
    std::vector<CDeviceInfo*> GetDeviceInfo();
    // 1 when no failure is reported, 0 when one is (strMessage then holds the
    // reported message, if there is one).
    int GetInventoryStatus(std::string& strMessage);
    // The running operating system; with several OperatingSystem elements
    // the last value of each attribute wins.
    SOSInfo GetOSInfo();
    // The last systemID of a System element, or empty.
    std::string GetSystemID();

    // A non-empty XPath result on the document, or null.
    xmlsupport::NodeSetPtr GetNodeSet(const unsigned char* pszExpression);
    // An attribute's text, or null when absent or empty.
    const char* GetAttributeValue(xmlNode* pNode, const char* pszName);

private:
    CDeviceInventoryInfo(const CDeviceInventoryInfo&) = delete;
    CDeviceInventoryInfo& operator=(const CDeviceInventoryInfo&) = delete;

    // A record for a document that reports a failure but lists no device.
    CDeviceInfo* NewFailedRecord(const std::string& strMessage);
    // One record from one Device element, marked failed with strMessage when
    // the document reports a failure; null when it cannot be allocated.
    CDeviceInfo* NewDeviceRecord(xmlNode* pDevice, bool bFailed, const std::string& strMessage);

    std::string m_strSource;
    xmlsupport::DocumentPtr m_pDocument;
};

#endif // VEXDEP_DEVICEINVENTORYINFO_H
