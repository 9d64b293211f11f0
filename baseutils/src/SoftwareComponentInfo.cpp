// CSoftwareComponentInfo, the package reader: construction, the document
// (read at start and read again by the queries that say so), and the small
// XPath and value functions every query rests on. The queries themselves
// live in SoftwareComponentIdentity.cpp, SoftwareComponentDevices.cpp,
// SoftwareComponentDependencies.cpp and SoftwareComponentContexts.cpp.

#include "SoftwareComponentInfo.h"

#include "PackageNodes.h"
#include "SoftwareComponentInfoLogSource.h"

#include "PlatformLayer.h"

using namespace packagenodes;

namespace
{
const char* const kPackageFileName = "package.xml";
const char* const kDevicesXPath = "//SoftwareComponent/SupportedDevices/Device";
} // namespace

void CSoftwareComponentInfo::SwitchLoggingOn()
{
    if (CPlatformLayer::IsFileExits(strEnableLogFileName))
    {
        CLogger::GetInstance()->Initialize(strBaseUtilsLogFileName);
    }
}

CSoftwareComponentInfo::CSoftwareComponentInfo()
{
    SwitchLoggingOn();
    VEXLOG("CSoftwareComponentInfo::CSoftwareComponentInfo() Entering Constructor Method");
    ParseXMl();
}

CSoftwareComponentInfo::CSoftwareComponentInfo(const char* pszFileName)
{
    xmlsupport::SetKeepBlanksDefault(false);
    m_pDocument.reset();
    // Without a name there is nothing to read.
    if (pszFileName == nullptr)
    {
        return;
    }
    m_strFilePath = CPlatformLayer::getCurrentDirectory() + pszFileName;
    if (CPlatformLayer::IsFileExits(pszFileName))
    {
        m_pDocument = xmlsupport::ParseFile(m_strFilePath, m_ParseStamp);
        if (!m_pDocument)
        {
            VEXLOG("CSoftwareComponentInfo::Init() Document " + m_strFilePath + " not parsed successfully ");
        }
        VEXLOG("CSoftwareComponentInfo::Init() Exiting");
    }
}

CSoftwareComponentInfo::CSoftwareComponentInfo(std::string& strDocument)
{
    SwitchLoggingOn();
    VEXLOG("CSoftwareComponentInfo::CSoftwareComponentInfo(String) Entering Constructor Method");
    m_pDocument.reset();
    VEXLOG(strDocument);
    m_pDocument = xmlsupport::ParseMemory(strDocument);
    if (!m_pDocument)
    {
        VEXLOG("CSoftwareComponentInfo::CSoftwareComponentInfo(string) Document " + m_strFilePath +
               " not parsed successfully ");
    }
    VEXLOG("CSoftwareComponentInfo::CSoftwareComponentInfo(string) Exiting");
}

CSoftwareComponentInfo::~CSoftwareComponentInfo()
{
    if (m_pDocument)
    {
        m_pDocument.reset();
        xmlsupport::CleanupParser();
    }
    m_mapContextTypes.clear();
}

void CSoftwareComponentInfo::ParseXMl()
{
    VEXLOG("CSoftwareComponentInfo::Init() Entering");
    xmlsupport::SetKeepBlanksDefault(false);
    m_pDocument.reset();
    // The working directory always ends in "/".
    m_strFilePath = CPlatformLayer::getCurrentDirectory() + kPackageFileName;
    if (!CPlatformLayer::IsFileExits(kPackageFileName))
    {
        return;
    }
    m_pDocument = xmlsupport::ParseFile(m_strFilePath, m_ParseStamp);
    if (!m_pDocument)
    {
        VEXLOG("CSoftwareComponentInfo::Init() Document " + m_strFilePath + " not parsed successfully ");
    }
    VEXLOG("CSoftwareComponentInfo::Init() Exiting");
}

xmlsupport::NodeSetPtr CSoftwareComponentInfo::GetNodeSet(xmlDoc* pDoc, const xmlChar* pszXPath)
{
    VEXLOG("CSoftwareComponentInfo::GetNodeSet() Entering");
    xmlsupport::EvalStatus eStatus = xmlsupport::EvalStatus::Empty;
    xmlsupport::NodeSetPtr pResult = xmlsupport::Evaluate(pDoc, pszXPath, eStatus);
    switch (eStatus)
    {
    case xmlsupport::EvalStatus::ContextFailed:
        VEXLOG("CSoftwareComponentInfo::GetNodeSet() Error in xmlXPathNewContext");
        break;
    case xmlsupport::EvalStatus::EvalFailed:
        VEXLOG("CSoftwareComponentInfo::GetNodeSet() Error in xmlXPathEvalExpression");
        break;
    case xmlsupport::EvalStatus::Empty:
        VEXLOG("CSoftwareComponentInfo::GetNodeSet() Empty nodeset");
        break;
    case xmlsupport::EvalStatus::Ok:
        VEXLOG("CSoftwareComponentInfo::GetNodeSet() Exiting");
        break;
    }
    return pResult;
}

xmlsupport::NodeSetPtr CSoftwareComponentInfo::getnodeset(xmlDoc* pDoc, const xmlChar* pszXPath)
{
    xmlsupport::EvalStatus eStatus = xmlsupport::EvalStatus::Empty;
    xmlsupport::NodeSetPtr pResult = xmlsupport::Evaluate(pDoc, pszXPath, eStatus);
    if (eStatus == xmlsupport::EvalStatus::ContextFailed)
    {
        VEXLOG("CIdentityModuleInventory::getnodeset :: Error in xmlXPathNewContext");
    }
    else if (eStatus == xmlsupport::EvalStatus::EvalFailed)
    {
        VEXLOG("CIdentityModuleInventory::getnodeset :: Error in xmlXPathEvalExpression");
    }
    return pResult;
}

xmlsupport::NodeSetPtr CSoftwareComponentInfo::ParseXmlUsingXpath()
{
    VEXLOG("CSoftwareComponentInfo::ParseXmlUsingXpath() Entering");
    if (!CPlatformLayer::IsFileExits(kPackageFileName))
    {
        m_pDocument.reset();
        return nullptr;
    }
    ReadDocumentAgain();
    xmlsupport::NodeSetPtr pResult = GetNodeSet(m_pDocument.get(), AsXmlChar(kDevicesXPath));
    VEXLOG("CSoftwareComponentInfo::ParseXmlUsingXpath() Exiting");
    return pResult;
}

xmlsupport::NodeSetPtr CSoftwareComponentInfo::ParseXmlUsingXpath(const char* pszXPath)
{
    ReadDocumentAgain();
    return GetNodeSet(m_pDocument.get(), AsXmlChar(pszXPath));
}

void CSoftwareComponentInfo::ReadDocumentAgain()
{
    // Parsing an unchanged file again would give the same document: the
    // held one is kept.
    if (m_pDocument && xmlsupport::IsUnchanged(m_strFilePath, m_ParseStamp))
    {
        return;
    }
    m_pDocument = xmlsupport::ParseFile(m_strFilePath, m_ParseStamp);
}

const char* CSoftwareComponentInfo::GetAttributeValue(xmlNode* pNode, const char* pszName)
{
    return xmlsupport::AttributeValue(pNode, pszName);
}

std::string CSoftwareComponentInfo::GetValue(const std::string& strXPath, const std::string& strAttributeName)
{
    VEXLOG("Entering GetStringFromPackageXML function");
    xmlsupport::NodeSetPtr pNodeSet;
    if (m_pDocument)
    {
        pNodeSet = GetNodeSet(m_pDocument.get(), AsXmlChar(strXPath.c_str()));
    }
    const std::size_t nCount = xmlsupport::NodeCount(pNodeSet.get());
    for (std::size_t i = 0; i < nCount; ++i)
    {
        xmlNode* pNode = xmlsupport::NodeAt(pNodeSet.get(), i);
        if (!strAttributeName.empty())
        {
            const char* pszValue = GetAttributeValue(pNode, strAttributeName.c_str());
            if (pszValue != nullptr)
            {
                return pszValue;
            }
        }
        if (const char* pszText = TextOf(pNode))
        {
            std::string strText = pszText;
            VEXLOG(strText);
            VEXLOG("Exiting GetStringFromPackageXML function");
            return strText;
        }
    }
    VEXLOG("Exiting GetStringFromPackageXML function");
    return std::string();
}
