#include "XmlSupport.h"

#include "PlatformLayer.h"

#include <libxml/parser.h>
#include <libxml/parserInternals.h>
#include <libxml/xmlerror.h>

#include <cstdint>
#include <cstring>

#include <strings.h>
#include <sys/stat.h>

namespace xmlsupport
{
namespace
{
void IgnoreGenericError(void*, const char*, ...) {}
void IgnoreStructuredError(void*, xmlError*) {}

// Set while libxml2's file parser opens a document: its first load is the
// document itself.
bool g_bMainDocumentPending = false;

// No document read by this program may pull in anything beside itself:
// external entities and DTDs are refused, whatever they name. The one load
// let through is the document that ParseFile hands to the file parser.
xmlParserInputPtr RefuseExternalEntity(const char* pszURL, const char*, xmlParserCtxtPtr pContext)
{
    if (g_bMainDocumentPending && pszURL != nullptr)
    {
        g_bMainDocumentPending = false;
        return xmlNewInputFromFile(pContext, pszURL);
    }
    return nullptr;
}

void PrepareLibrary()
{
    xmlInitParser();
    xmlSetExternalEntityLoader(RefuseExternalEntity);
    xmlSetGenericErrorFunc(nullptr, IgnoreGenericError);
    xmlSetStructuredErrorFunc(nullptr, IgnoreStructuredError);
}

const int kParseOptions = XML_PARSE_NONET | XML_PARSE_NOERROR | XML_PARSE_NOWARNING;

struct XPathContextDeleter
{
    void operator()(xmlXPathContext* pContext) const { xmlXPathFreeContext(pContext); }
};
using XPathContextPtr = std::unique_ptr<xmlXPathContext, XPathContextDeleter>;
} // namespace

void DocumentDeleter::operator()(xmlDoc* pDoc) const { xmlFreeDoc(pDoc); }

void XPathObjectDeleter::operator()(xmlXPathObject* pObject) const { xmlXPathFreeObject(pObject); }

namespace
{
// Whether a file starts as a gzip, xz or LZMA stream does. No document that
// parses starts with one of these bytes, so only compressed documents are
// told apart by it.
bool LooksCompressed(const std::string& strText)
{
    if (strText.empty())
    {
        return false;
    }
    const unsigned char cFirst = static_cast<unsigned char>(strText[0]);
    return cFirst == 0x1F || cFirst == 0xFD || cFirst == 0x5D;
}
} // namespace

DocumentPtr ParseFile(const std::string& strPath)
{
    std::string strText;
    if (!CPlatformLayer::ReadRegularFile(strPath, strText))
    {
        return nullptr;
    }
    if (LooksCompressed(strText))
    {
        // libxml2's file parser decompresses as it reads; the file was found
        // to be a regular file just now, so it cannot block.
        PrepareLibrary();
        g_bMainDocumentPending = true;
        DocumentPtr pDoc(xmlReadFile(strPath.c_str(), nullptr, kParseOptions));
        g_bMainDocumentPending = false;
        return pDoc;
    }
    return ParseMemory(strText);
}

namespace
{
// Collects the parser's structured errors into the vector given as context.
void CollectStructuredError(void* pContext, xmlError* pError)
{
    if (pContext == nullptr || pError == nullptr || pError->level == XML_ERR_NONE)
    {
        return;
    }
    SParseDiagnostic diagnostic;
    diagnostic.nLine = pError->line > 0 ? pError->line : 0;
    diagnostic.nColumn = pError->int2 > 0 ? pError->int2 : 0;
    diagnostic.strMessage = pError->message != nullptr ? pError->message : "";
    while (!diagnostic.strMessage.empty() &&
           (diagnostic.strMessage.back() == '\n' || diagnostic.strMessage.back() == '\r'))
    {
        diagnostic.strMessage.pop_back();
    }
    diagnostic.eLevel = pError->level == XML_ERR_WARNING ? SParseDiagnostic::ELevel::Warning
                        : pError->level == XML_ERR_ERROR ? SParseDiagnostic::ELevel::Error
                                                         : SParseDiagnostic::ELevel::Fatal;
    diagnostic.nCode = pError->code;
    static_cast<std::vector<SParseDiagnostic>*>(pContext)->push_back(diagnostic);
}
} // namespace

SDiagnosedParse ParseFileWithDiagnostics(const std::string& strPath)
{
    SDiagnosedParse result;
    std::string strText;
    if (!CPlatformLayer::ReadRegularFile(strPath, strText))
    {
        SParseDiagnostic diagnostic;
        diagnostic.strMessage = "not a readable regular file";
        result.vDiagnostics.push_back(diagnostic);
        return result;
    }
    // The same parse as ParseFile, with the parser's messages collected
    // instead of dropped for its duration.
    PrepareLibrary();
    xmlSetStructuredErrorFunc(&result.vDiagnostics, CollectStructuredError);
    if (LooksCompressed(strText))
    {
        g_bMainDocumentPending = true;
        result.pDocument.reset(xmlReadFile(strPath.c_str(), nullptr, kParseOptions));
        g_bMainDocumentPending = false;
    }
    else if (strText.size() <= static_cast<std::size_t>(INT32_MAX))
    {
        result.pDocument.reset(
            xmlReadMemory(strText.data(), static_cast<int>(strText.size()), nullptr, nullptr, kParseOptions));
    }
    else
    {
        SParseDiagnostic diagnostic;
        diagnostic.strMessage = "the file is too large to parse";
        result.vDiagnostics.push_back(diagnostic);
    }
    xmlSetStructuredErrorFunc(nullptr, IgnoreStructuredError);
    return result;
}

namespace
{
bool KeepBlanksDefault()
{
    // xmlKeepBlanksDefault sets the default and returns the previous one.
    const int nKeep = xmlKeepBlanksDefault(1);
    xmlKeepBlanksDefault(nKeep);
    return nKeep != 0;
}

SParseStamp StampOf(const std::string& strPath)
{
    SParseStamp stamp;
    struct stat statBuffer;
    if (stat(strPath.c_str(), &statBuffer) != 0)
    {
        return stamp;
    }
    stamp.bValid = true;
    stamp.nDevice = statBuffer.st_dev;
    stamp.nInode = statBuffer.st_ino;
    stamp.nSize = statBuffer.st_size;
    stamp.modified = statBuffer.st_mtim;
    stamp.changed = statBuffer.st_ctim;
    stamp.bKeepBlanks = KeepBlanksDefault();
    return stamp;
}

bool SameTime(const timespec& left, const timespec& right)
{
    return left.tv_sec == right.tv_sec && left.tv_nsec == right.tv_nsec;
}
} // namespace

DocumentPtr ParseFile(const std::string& strPath, SParseStamp& stamp)
{
    // The stamp is taken first: a change during the parse shows as a
    // changed file next time.
    stamp = StampOf(strPath);
    return ParseFile(strPath);
}

bool IsUnchanged(const std::string& strPath, const SParseStamp& stamp)
{
    if (!stamp.bValid)
    {
        return false;
    }
    const SParseStamp now = StampOf(strPath);
    return now.bValid && now.nDevice == stamp.nDevice && now.nInode == stamp.nInode && now.nSize == stamp.nSize &&
           SameTime(now.modified, stamp.modified) && SameTime(now.changed, stamp.changed) &&
           now.bKeepBlanks == stamp.bKeepBlanks;
}

DocumentPtr ParseMemory(const std::string& strText)
{
    PrepareLibrary();
    if (strText.size() > static_cast<std::size_t>(INT32_MAX))
    {
        return nullptr;
    }
    return DocumentPtr(
        xmlReadMemory(strText.data(), static_cast<int>(strText.size()), nullptr, nullptr, kParseOptions));
}

void SetKeepBlanksDefault(bool bKeep) { xmlKeepBlanksDefault(bKeep ? 1 : 0); }

void CleanupParser() { xmlCleanupParser(); }

NodeSetPtr Evaluate(xmlDoc* pDoc, const xmlChar* pszExpression, EvalStatus& eStatus)
{
    // libxml2 accepts a null document: every path then selects nothing.
    XPathContextPtr pContext(xmlXPathNewContext(pDoc));
    if (!pContext)
    {
        eStatus = EvalStatus::ContextFailed;
        return nullptr;
    }
    pContext->error = IgnoreStructuredError;
    NodeSetPtr pResult(pszExpression != nullptr ? xmlXPathEvalExpression(pszExpression, pContext.get()) : nullptr);
    pContext.reset();
    if (!pResult)
    {
        eStatus = EvalStatus::EvalFailed;
        return nullptr;
    }
    if (NodeCount(pResult.get()) == 0)
    {
        eStatus = EvalStatus::Empty;
        return nullptr;
    }
    eStatus = EvalStatus::Ok;
    return pResult;
}

NodeSetPtr Evaluate(xmlDoc* pDoc, const char* pszExpression, EvalStatus& eStatus)
{
    return Evaluate(pDoc, reinterpret_cast<const xmlChar*>(pszExpression), eStatus);
}

std::size_t NodeCount(const xmlXPathObject* pResult)
{
    if (pResult == nullptr || pResult->nodesetval == nullptr || pResult->nodesetval->nodeTab == nullptr ||
        pResult->nodesetval->nodeNr <= 0)
    {
        return 0;
    }
    return static_cast<std::size_t>(pResult->nodesetval->nodeNr);
}

xmlNode* NodeAt(const xmlXPathObject* pResult, std::size_t nIndex)
{
    if (nIndex >= NodeCount(pResult))
    {
        return nullptr;
    }
    return pResult->nodesetval->nodeTab[nIndex];
}

const char* AttributeValue(const xmlNode* pNode, const char* pszName)
{
    if (pNode == nullptr || pszName == nullptr || pNode->type != XML_ELEMENT_NODE)
    {
        return nullptr;
    }
    const xmlAttr* pAttribute = xmlHasProp(pNode, reinterpret_cast<const xmlChar*>(pszName));
    if (pAttribute == nullptr || pAttribute->type != XML_ATTRIBUTE_NODE || pAttribute->children == nullptr)
    {
        return nullptr;
    }
    const char* pszValue = reinterpret_cast<const char*>(pAttribute->children->content);
    if (pszValue == nullptr || *pszValue == '\0')
    {
        return nullptr;
    }
    return pszValue;
}

const char* FirstChildContent(const xmlNode* pNode)
{
    if (pNode == nullptr || pNode->children == nullptr)
    {
        return nullptr;
    }
    return reinterpret_cast<const char*>(pNode->children->content);
}

bool NameEquals(const xmlNode* pNode, const char* pszName)
{
    return pNode != nullptr && pNode->name != nullptr && pszName != nullptr &&
           strcasecmp(reinterpret_cast<const char*>(pNode->name), pszName) == 0;
}

bool NameIs(const xmlNode* pNode, const char* pszName)
{
    return pNode != nullptr && pNode->name != nullptr && pszName != nullptr &&
           std::strcmp(reinterpret_cast<const char*>(pNode->name), pszName) == 0;
}
} // namespace xmlsupport
