#include "PackageNodes.h"

#include "XmlSupport.h"

#include <cctype>
#include <iomanip>
#include <sstream>

namespace packagenodes
{
const xmlChar* AsXmlChar(const char* pszText) { return reinterpret_cast<const xmlChar*>(pszText); }

bool IsElement(const xmlNode* pNode) { return pNode != nullptr && pNode->type == XML_ELEMENT_NODE; }

bool IsNamed(const xmlNode* pNode, const char* pszName) { return xmlsupport::NameEquals(pNode, pszName); }

const char* TextOf(const xmlNode* pNode) { return xmlsupport::FirstChildContent(pNode); }

bool EqualsIgnoringCase(const std::string& strLeft, const std::string& strRight)
{
    if (strLeft.size() != strRight.size())
    {
        return false;
    }
    for (std::size_t i = 0; i < strLeft.size(); ++i)
    {
        if (std::tolower(static_cast<unsigned char>(strLeft[i])) !=
            std::tolower(static_cast<unsigned char>(strRight[i])))
        {
            return false;
        }
    }
    return true;
}

bool ReadAttributeInto(const xmlNode* pNode, const char* pszName, std::string& strField)
{
    const char* pszValue = xmlsupport::AttributeValue(pNode, pszName);
    if (pszValue == nullptr)
    {
        return false;
    }
    strField = pszValue;
    return true;
}

bool ReadPaddedIdentifier(const xmlNode* pNode, const char* pszName, std::string& strField)
{
    const char* pszValue = xmlsupport::AttributeValue(pNode, pszName);
    if (pszValue == nullptr)
    {
        return false;
    }
    std::ostringstream ossValue;
    ossValue << std::setw(4) << std::setfill('0') << pszValue;
    strField = ossValue.str();
    return true;
}

void ReadPCIIdentifiers(const xmlNode* pNode, SPCIInfo& pciInfo)
{
    ReadAttributeInto(pNode, "deviceID", pciInfo.strDeviceID);
    ReadAttributeInto(pNode, "subDeviceID", pciInfo.strSubDeviceID);
    ReadAttributeInto(pNode, "vendorID", pciInfo.strVendorID);
    ReadAttributeInto(pNode, "subVendorID", pciInfo.strSubVendorID);
}

} // namespace packagenodes
