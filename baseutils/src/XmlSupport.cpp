#include "XmlSupport.h"

#include <libxml/parser.h>
#include <libxml/xmlerror.h>

#include <cerrno>
#include <cstdint>
#include <cstring>

#include <fcntl.h>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

namespace xmlsupport
{
namespace
{
void IgnoreGenericError(void*, const char*, ...) {}
void IgnoreStructuredError(void*, xmlError*) {}

// No document read by this program may pull in anything beside itself:
// external entities and DTDs are refused, whatever they name.
xmlParserInputPtr RefuseExternalEntity(const char*, const char*, xmlParserCtxtPtr)
{
    return nullptr;
}

void PrepareLibrary()
{
    xmlInitParser();
    xmlSetExternalEntityLoader(RefuseExternalEntity);
    xmlSetGenericErrorFunc(nullptr, IgnoreGenericError);
    xmlSetStructuredErrorFunc(nullptr, IgnoreStructuredError);
}

// Reads a whole file; false when it cannot be opened or read. Only regular
// files are read: a document that is a directory, a named pipe or a device
// (for instance a link to /dev/zero in a package) is not a document. The
// open does not wait for a pipe's writer.
bool ReadWholeFile(const std::string& strPath, std::string& strText)
{
    const int nFd = open(strPath.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (nFd < 0)
    {
        return false;
    }
    struct stat st;
    if (fstat(nFd, &st) != 0 || !S_ISREG(st.st_mode))
    {
        close(nFd);
        return false;
    }
    bool bOk = true;
    char szBuffer[65536];
    for (;;)
    {
        const ssize_t nRead = read(nFd, szBuffer, sizeof(szBuffer));
        if (nRead > 0)
        {
            strText.append(szBuffer, static_cast<std::size_t>(nRead));
        }
        else if (nRead == 0)
        {
            break;
        }
        else if (errno != EINTR)
        {
            bOk = false;
            break;
        }
    }
    close(nFd);
    return bOk;
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

DocumentPtr ParseFile(const std::string& strPath)
{
    std::string strText;
    if (!ReadWholeFile(strPath, strText))
    {
        return nullptr;
    }
    return ParseMemory(strText);
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
