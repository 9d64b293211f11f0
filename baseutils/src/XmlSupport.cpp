#include "XmlSupport.h"

#include "PlatformLayer.h"

#include <libxml/parser.h>
#include <libxml/parserInternals.h>
#include <libxml/xmlerror.h>

#include <cctype>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <strings.h>
#include <sys/stat.h>

namespace xmlsupport
{
namespace
{
// Set while libxml2's file parser opens a document: its first load is the
// document itself.
bool g_bMainDocumentPending = false;

// No document read by this program may pull in anything beside itself:
// external entities and DTDs are refused, whatever they name (with the
// library's default options none of them is loaded anyway). The one load
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
}

struct XPathContextDeleter
{
    void operator()(xmlXPathContext* pContext) const { xmlXPathFreeContext(pContext); }
};
using XPathContextPtr = std::unique_ptr<xmlXPathContext, XPathContextDeleter>;

// The default sink: standard error, where the library's default handler
// writes.
class CStandardErrorSink : public IParserMessageSink
{
public:
    void Write(const std::string& strMessages) override
    {
        if (!strMessages.empty())
        {
            std::fwrite(strMessages.data(), 1, strMessages.size(), stderr);
            std::fflush(stderr);
        }
    }
};

CStandardErrorSink g_StandardErrorSink;
IParserMessageSink* g_pMessageSink = &g_StandardErrorSink;

// For the duration of one parse, the library's default error handler writes
// into memory instead of standard error: the messages are then exactly the
// bytes it would have written there, and can be given to the sink and kept.
// No file descriptor is involved.
class CMessageCapture
{
public:
    CMessageCapture()
    {
        m_pStream = open_memstream(&m_pszBuffer, &m_nSize);
        // Structured handlers would take the messages before the default
        // one formats them.
        xmlSetStructuredErrorFunc(nullptr, nullptr);
        xmlSetGenericErrorFunc(m_pStream, nullptr);
    }

    ~CMessageCapture()
    {
        Finish();
        std::free(m_pszBuffer);
    }

    CMessageCapture(const CMessageCapture&) = delete;
    CMessageCapture& operator=(const CMessageCapture&) = delete;

    // Ends the capture and returns what was written.
    const std::string& Finish()
    {
        if (!m_bFinished)
        {
            m_bFinished = true;
            // Back to the library's default: standard error.
            xmlSetGenericErrorFunc(nullptr, nullptr);
            if (m_pStream != nullptr)
            {
                std::fclose(m_pStream);
                m_pStream = nullptr;
                if (m_pszBuffer != nullptr)
                {
                    m_strMessages.assign(m_pszBuffer, m_nSize);
                }
            }
        }
        return m_strMessages;
    }

private:
    FILE* m_pStream = nullptr;
    char* m_pszBuffer = nullptr;
    std::size_t m_nSize = 0;
    bool m_bFinished = false;
    std::string m_strMessages;
};

// Hands the messages of one parse on.
void Deliver(const std::string& strMessages, std::string* pMessages)
{
    if (pMessages != nullptr)
    {
        *pMessages = strMessages;
    }
    EmitParserMessages(strMessages);
}

// The library's file loader takes "-" for standard input and a name that
// begins with "http://" or "ftp://" for a document on the network: reading
// either can wait without end. Such a name is given to it with "./" in
// front, which names the same file and nothing else. (Names that begin with
// "file:" it reads as the file they name, and so does this program.)
bool IsSpecialToTheLibrary(const std::string& strPath)
{
    return strPath == "-" || strncasecmp(strPath.c_str(), "http://", 7) == 0 ||
           strncasecmp(strPath.c_str(), "ftp://", 6) == 0;
}

std::string NameForTheLibrary(const std::string& strPath)
{
    return IsSpecialToTheLibrary(strPath) ? "./" + strPath : strPath;
}

// The length the library's memory parser is given: an int, as the text's
// length converts to one.
int MemoryParserLength(const std::string& strText) { return static_cast<int>(strText.size()); }

xmlDoc* ParseFileNow(const std::string& strPath)
{
    PrepareLibrary();
    g_bMainDocumentPending = true;
    xmlDoc* pDoc = xmlParseFile(NameForTheLibrary(strPath).c_str());
    g_bMainDocumentPending = false;
    return pDoc;
}
} // namespace

void DocumentDeleter::operator()(xmlDoc* pDoc) const { xmlFreeDoc(pDoc); }

void XPathObjectDeleter::operator()(xmlXPathObject* pObject) const { xmlXPathFreeObject(pObject); }

IParserMessageSink* SetParserMessageSink(IParserMessageSink* pSink)
{
    IParserMessageSink* pPrevious = g_pMessageSink == &g_StandardErrorSink ? nullptr : g_pMessageSink;
    g_pMessageSink = pSink != nullptr ? pSink : &g_StandardErrorSink;
    return pPrevious;
}

void EmitParserMessages(const std::string& strMessages)
{
    if (!strMessages.empty())
    {
        g_pMessageSink->Write(strMessages);
    }
}

DocumentPtr ParseFile(const std::string& strPath, std::string* pMessages)
{
    // A named pipe would block the parser until someone writes to it, a
    // device like /dev/zero would be read without end: neither is a
    // document.
    if (CPlatformLayer::IsStreamOrDevice(strPath))
    {
        if (pMessages != nullptr)
        {
            pMessages->clear();
        }
        return nullptr;
    }
    DocumentPtr pDoc;
    {
        CMessageCapture capture;
        pDoc.reset(ParseFileNow(strPath));
        Deliver(capture.Finish(), pMessages);
    }
    return pDoc;
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
    // A file that is missing, unreadable, a directory, a named pipe or a
    // device is no document: one diagnostic without position says so.
    std::string strText;
    if (!CPlatformLayer::ReadRegularFile(strPath, strText))
    {
        SParseDiagnostic diagnostic;
        diagnostic.strMessage = "not a readable regular file";
        result.vDiagnostics.push_back(diagnostic);
        return result;
    }
    // The same parse as ParseFile, with the parser's messages collected
    // as records instead of written.
    PrepareLibrary();
    xmlSetStructuredErrorFunc(&result.vDiagnostics, CollectStructuredError);
    result.pDocument.reset(ParseFileNow(strPath));
    xmlSetStructuredErrorFunc(nullptr, nullptr);
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
    return ParseFile(strPath, &stamp.strMessages);
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

DocumentPtr ParseMemory(const std::string& strText, std::string* pMessages)
{
    DocumentPtr pDoc;
    {
        CMessageCapture capture;
        PrepareLibrary();
        pDoc.reset(xmlParseMemory(strText.data(), MemoryParserLength(strText)));
        Deliver(capture.Finish(), pMessages);
    }
    return pDoc;
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
