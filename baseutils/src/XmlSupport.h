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
// Documents are read with the network switched off and with no external
// entity or DTD ever loaded; parser diagnostics are not printed. Whether
// blank text nodes are kept follows libxml2's process-wide default, which
// the readers switch with SetKeepBlanksDefault.
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

// Parses the file at strPath; null when it cannot be read or does not
// parse. Only a regular file is read (never a named pipe or a device); a
// gzip-, xz- or LZMA-compressed file is decompressed as libxml2's file
// parser does.
DocumentPtr ParseFile(const std::string& strPath);

// What a file looked like when it was parsed, and the blank-node default
// the parse followed. Parsing an unchanged file again under the same default
// gives the same document, so a reader that must read its file again may
// keep the document it has instead.
struct SParseStamp
{
    bool bValid = false;
    dev_t nDevice = 0;
    ino_t nInode = 0;
    off_t nSize = 0;
    timespec modified = {};
    timespec changed = {};
    bool bKeepBlanks = true;
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

    long nLine = 0;   // 1-based; 0 when unknown
    long nColumn = 0; // 1-based; 0 when unknown
    std::string strMessage; // libxml2's own text, without its line end
    ELevel eLevel = ELevel::Fatal;
    int nCode = 0; // libxml2's error number (xmlParserErrors); 0 when the file could not be read
};

struct SDiagnosedParse
{
    DocumentPtr pDocument; // exactly what ParseFile gives
    std::vector<SParseDiagnostic> vDiagnostics; // in the order the parser reported them
};

// ParseFile, and the parser's messages about the file. Nothing is printed.
// A file that cannot be read gives one Fatal diagnostic without position.
SDiagnosedParse ParseFileWithDiagnostics(const std::string& strPath);

// Parses a document held in memory; null when it does not parse.
DocumentPtr ParseMemory(const std::string& strText);

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
