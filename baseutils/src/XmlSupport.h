#ifndef VEXDEP_XMLSUPPORT_H
#define VEXDEP_XMLSUPPORT_H

#include <libxml/tree.h>
#include <libxml/xpath.h>

#include <cstddef>
#include <ctime>
#include <memory>
#include <string>
#include <vector>

#include <sys/types.h>

// The one place that owns and frees libxml2 objects. The XML readers (the
// package reader, the plug-in configuration reader and the inventory
// document reader) hold these owners and never free libxml2 objects
// themselves.
//
// Documents are read with the library's file and memory parsers and its
// default options, so that every document gives the tree and the messages
// the library gives it; no external entity or DTD is ever loaded and no
// network is used. Whether blank text nodes are kept follows libxml2's
// process-wide default, which the readers switch with SetKeepBlanksDefault.
namespace xmlsupport
{
struct DocumentDeleter
{
    void operator()(xmlDoc* pDoc) const;
};

struct XPathObjectDeleter
{
    void operator()(xmlXPathObject* pObject) const;
};

using DocumentPtr = std::unique_ptr<xmlDoc, DocumentDeleter>;
using NodeSetPtr = std::unique_ptr<xmlXPathObject, XPathObjectDeleter>;

// The XML library's own messages (warnings and parser errors, formatted as
// its default handler formats them) about the documents that ParseFile and
// ParseMemory read. By default they go to standard error as each parse ends,
// exactly as the library's default handler writes them; a tool that
// presents them itself installs a sink of its own.
class IParserMessageSink
{
public:
    virtual void Write(const std::string& strMessages) = 0;

protected:
    ~IParserMessageSink() = default;
};

// Installs the sink (null: standard error again); returns the previous one.
IParserMessageSink* SetParserMessageSink(IParserMessageSink* pSink);
// Writes messages that an earlier parse gave to the current sink, for a
// reader that keeps a document instead of parsing its unchanged file again.
void EmitParserMessages(const std::string& strMessages);

// Parses the file at strPath with the XML library's file parser, exactly as
// it reads a file: compressed (gzip, xz, LZMA) or not, in any encoding it
// knows. The library's messages go to the sink and, when pMessages is given,
// into *pMessages as well. Null when the file cannot be read or does not
// parse. Two kinds of name are not handed to the file parser: a named pipe,
// socket or device (whose reading could wait for a writer or never end) is
// not read at all, and a name that the library would take for standard input
// or a document on the network ("-", "http://...", "ftp://...") is read as
// the plain file of that name.
DocumentPtr ParseFile(const std::string& strPath, std::string* pMessages = nullptr);

// What a file looked like when it was parsed, the blank-node default the
// parse followed, and what the parser said. Parsing an unchanged file again
// under the same default gives the same document and the same messages, so a
// reader that must read its file again may keep the document it has instead
// (and emit the messages again).
struct SParseStamp
{
    bool bValid = false;
    dev_t nDevice = 0;
    ino_t nInode = 0;
    off_t nSize = 0;
    timespec modified = {};
    timespec changed = {};
    bool bKeepBlanks = true;
    std::string strMessages;
};

// ParseFile that also records the file's stamp (invalid when the file
// could not be examined).
DocumentPtr ParseFile(const std::string& strPath, SParseStamp& stamp);
// True when the file and the blank-node default are as the stamp recorded.
bool IsUnchanged(const std::string& strPath, const SParseStamp& stamp);
// One message of the parser about a document, as libxml2 reports it.
struct SParseDiagnostic
{
    enum class ELevel
    {
        Warning, // the parser reads on
        Error,   // the parser reads on, but the document is not as written
        Fatal    // the document does not parse
    };

    long nLine = 0;         // 1-based; 0 when unknown
    long nColumn = 0;       // 1-based; 0 when unknown
    std::string strMessage; // libxml2's own text, without its line end
    ELevel eLevel = ELevel::Fatal;
    int nCode = 0; // libxml2's error number (xmlParserErrors); 0 when the file could not be read
};

struct SDiagnosedParse
{
    DocumentPtr pDocument;                      // exactly what ParseFile gives
    std::vector<SParseDiagnostic> vDiagnostics; // in the order the parser reported them
};

// ParseFile, and the parser's messages about the file as structured records.
// Nothing is printed and nothing reaches the sink. A file that is not a
// readable regular file is not parsed: it gives one Fatal diagnostic without
// position or code.
SDiagnosedParse ParseFileWithDiagnostics(const std::string& strPath);

// Parses a document held in memory with the XML library's memory parser;
// null when it does not parse. Messages as for ParseFile.
DocumentPtr ParseMemory(const std::string& strText, std::string* pMessages = nullptr);

// libxml2's process-wide default for blank text nodes (xmlKeepBlanksDefault).
void SetKeepBlanksDefault(bool bKeep);
// libxml2's global clean-up (xmlCleanupParser); later parses set it up again.
void CleanupParser();

enum class EvalStatus
{
    Ok,            // at least one node
    ContextFailed, // no XPath context could be created (out of memory)
    EvalFailed,    // the expression could not be evaluated
    Empty          // no node set, or no node in it
};

// Evaluates an XPath expression on a document (a null document selects
// nothing). The result is non-null only with EvalStatus::Ok, and then holds
// at least one node.
NodeSetPtr Evaluate(xmlDoc* pDoc, const xmlChar* pszExpression, EvalStatus& eStatus);
NodeSetPtr Evaluate(xmlDoc* pDoc, const char* pszExpression, EvalStatus& eStatus);

// Number of nodes in a result and the node at an index (null when out of
// range or when there is no result).
std::size_t NodeCount(const xmlXPathObject* pResult);
xmlNode* NodeAt(const xmlXPathObject* pResult, std::size_t nIndex);

// The value of an attribute as the readers see it: the content of the
// attribute's first child node. Null when the node or name is null, the
// attribute is absent, or its value is empty.
const char* AttributeValue(const xmlNode* pNode, const char* pszName);
// The content of a node's first child node, or null (no node, no child, no
// content).
const char* FirstChildContent(const xmlNode* pNode);
// The node's name compared with pszName ignoring ASCII case; false for a
// null node or a node without a name.
bool NameEquals(const xmlNode* pNode, const char* pszName);
// The node's name compared exactly.
bool NameIs(const xmlNode* pNode, const char* pszName);
} // namespace xmlsupport

#endif // VEXDEP_XMLSUPPORT_H
