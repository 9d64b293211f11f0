// CPackageLinter: the XML markup of every document the checker reads
// (package.xml and each release's PIEConfig.xml): documents that do not
// parse, encodings, external DTDs and entities, and what the parser reports
// while it reads on.

#include "PackageLinter.h"

#include "LintSupport.h"
#include "PlatformLayer.h"
#include "TextFormat.h"

#include <libxml/entities.h>
#include <libxml/xmlerror.h>

#include <algorithm>
#include <cstring>

#include <strings.h>

using namespace lintsupport;
using textformat::Quote;

namespace
{
// An encoding that the XML library converts by itself, without the C
// library's conversion modules (which a fully static checker may not find).
bool IsEncodingOfTheXmlLibrary(const std::string& strEncoding)
{
    static const char* const kOwn[] = {"UTF-8",      "UTF8",        "UTF-16",      "UTF16", "UTF-16LE", "UTF-16BE",
                                       "ISO-8859-1", "ISO-LATIN-1", "ISO LATIN 1", "ASCII", "US-ASCII"};
    for (const char* pszOwn : kOwn)
    {
        if (strcasecmp(strEncoding.c_str(), pszOwn) == 0)
        {
            return true;
        }
    }
    return false;
}

// The element nodes and entity references below pNode, in document order.
void CollectEntityReferences(const xmlNode* pNode, std::vector<const xmlNode*>& vReferences)
{
    for (; pNode != nullptr; pNode = pNode->next)
    {
        if (pNode->type == XML_ENTITY_REF_NODE)
        {
            vReferences.push_back(pNode);
        }
        else if (IsElement(pNode))
        {
            CollectEntityReferences(pNode->children, vReferences);
        }
    }
}

bool IsExternal(const xmlEntity* pEntity)
{
    return pEntity != nullptr &&
           (pEntity->etype == XML_EXTERNAL_GENERAL_PARSED_ENTITY ||
            pEntity->etype == XML_EXTERNAL_GENERAL_UNPARSED_ENTITY || pEntity->etype == XML_EXTERNAL_PARAMETER_ENTITY);
}

// How a DTD or entity names what it would load: SYSTEM "..." or PUBLIC "..." "...".
std::string ExternalIdentifier(const xmlChar* pszPublic, const xmlChar* pszSystem)
{
    const std::string strSystem = pszSystem != nullptr ? reinterpret_cast<const char*>(pszSystem) : "";
    if (pszPublic != nullptr)
    {
        return "PUBLIC " + Quote(reinterpret_cast<const char*>(pszPublic)) +
               (strSystem.empty() ? "" : " " + Quote(strSystem));
    }
    return "SYSTEM " + Quote(strSystem);
}

long LineAtOffset(const std::string& strText, std::size_t nOffset)
{
    return 1 + static_cast<long>(std::count(strText.begin(), strText.begin() + static_cast<long>(nOffset), '\n'));
}

// The line of a markup declaration in the document's text: "<!DOCTYPE", or
// "<!ENTITY" with the entity's name (after "%" for a parameter entity); 0
// when it is not found (a compressed file, for example).
long LineOfDeclaration(const std::string& strText, const std::string& strKeyword, const std::string& strName = "",
                       bool bParameter = false)
{
    const auto SkipBlanks = [&strText](std::size_t nAt) {
        while (nAt < strText.size() && std::strchr(" \t\r\n", strText[nAt]) != nullptr)
        {
            ++nAt;
        }
        return nAt;
    };
    for (std::size_t nAt = strText.find(strKeyword); nAt != std::string::npos; nAt = strText.find(strKeyword, nAt + 1))
    {
        if (strName.empty())
        {
            return LineAtOffset(strText, nAt);
        }
        std::size_t nName = SkipBlanks(nAt + strKeyword.size());
        if (bParameter)
        {
            if (nName >= strText.size() || strText[nName] != '%')
            {
                continue;
            }
            nName = SkipBlanks(nName + 1);
        }
        const std::size_t nEnd = nName + strName.size();
        if (strText.compare(nName, strName.size(), strName) == 0 && nEnd < strText.size() &&
            std::strchr(" \t\r\n", strText[nEnd]) != nullptr)
        {
            return LineAtOffset(strText, nAt);
        }
    }
    return 0;
}

// The name between the first two apostrophes of a parser message.
std::string QuotedName(const std::string& strMessage)
{
    const std::string::size_type nOpen = strMessage.find('\'');
    const std::string::size_type nClose = nOpen == std::string::npos ? nOpen : strMessage.find('\'', nOpen + 1);
    return nClose == std::string::npos ? std::string() : strMessage.substr(nOpen + 1, nClose - nOpen - 1);
}
} // namespace

xmlsupport::DocumentPtr CPackageLinter::ParseAndLintMarkup(const std::string& strFile, const std::string& strPath,
                                                           const char* pszUnparsableCode,
                                                           const std::string& strConsequence)
{
    xmlsupport::SDiagnosedParse parse = xmlsupport::ParseFileWithDiagnostics(strPath);
    if (!parse.pDocument)
    {
        // The first message that stopped the parser names the cause; the
        // later ones mostly follow from it.
        const xmlsupport::SParseDiagnostic* pCause = nullptr;
        for (const xmlsupport::SParseDiagnostic& diagnostic : parse.vDiagnostics)
        {
            if (pCause == nullptr && diagnostic.eLevel != xmlsupport::SParseDiagnostic::ELevel::Warning)
            {
                pCause = &diagnostic;
            }
        }
        if (pCause == nullptr && !parse.vDiagnostics.empty())
        {
            pCause = &parse.vDiagnostics.front();
        }
        std::string strWhy = pCause != nullptr ? pCause->strMessage : "the parser gives no reason";
        const bool bRead = pCause == nullptr || pCause->nCode != 0;
        std::string strError;
        if (!bRead && !CPlatformLayer::CanOpen(strPath, strError))
        {
            // The system's own reason ("Permission denied").
            strWhy = strError;
        }
        // A document without any content is empty at its first line, as the
        // library says ("Document is empty").
        const long nLine =
            pCause != nullptr ? (pCause->nCode == XML_ERR_DOCUMENT_EMPTY && pCause->nLine == 0 ? 1 : pCause->nLine) : 0;
        const long nColumn = pCause != nullptr ? pCause->nColumn : 0;
        AddAt(pszUnparsableCode, strFile, nLine, nColumn, std::string(),
              strFile + (bRead ? " is not well-formed XML: " + strWhy : " cannot be read (" + strWhy + ")") + ": " +
                  strConsequence);
        return nullptr;
    }
    LintMarkup(strFile, strPath, parse.pDocument.get(), parse.vDiagnostics);
    return std::move(parse.pDocument);
}

void CPackageLinter::LintMarkup(const std::string& strFile, const std::string& strPath, xmlDoc* pDocument,
                                const std::vector<xmlsupport::SParseDiagnostic>& vDiagnostics)
{
    // The text itself, only to point at declarations, which the tree holds
    // without lines.
    std::string strText;
    CPlatformLayer::ReadRegularFile(strPath, strText);

    if (pDocument->encoding != nullptr)
    {
        const std::string strEncoding = reinterpret_cast<const char*>(pDocument->encoding);
        if (!IsEncodingOfTheXmlLibrary(strEncoding))
        {
            AddAt("encoding-needs-c-library", strFile, 1, 0, std::string(),
                  strFile + " declares the encoding \"" + strEncoding +
                      "\", which the XML library reads only through the C library's conversion modules: the "
                      "portable checker cannot read it on a server without them, and then has nothing to report");
        }
    }

    const xmlDtd* pSubset = pDocument->intSubset;
    const bool bExternalDTD = pSubset != nullptr && (pSubset->SystemID != nullptr || pSubset->ExternalID != nullptr);
    if (bExternalDTD)
    {
        AddAt("external-declaration-not-loaded", strFile, LineOfDeclaration(strText, "<!DOCTYPE"), 0, std::string(),
              "the DOCTYPE names the external DTD " + ExternalIdentifier(pSubset->ExternalID, pSubset->SystemID) +
                  ": the checker never loads it, so no entity and no default attribute value declared there "
                  "applies");
    }

    std::vector<const xmlNode*> vReferences;
    CollectEntityReferences(xmlDocGetRootElement(pDocument), vReferences);
    for (const xmlNode* pChild = pSubset != nullptr ? pSubset->children : nullptr; pChild != nullptr;
         pChild = pChild->next)
    {
        const xmlEntity* pEntity = pChild->type == XML_ENTITY_DECL ? reinterpret_cast<const xmlEntity*>(pChild)
                                                                   : nullptr;
        if (!IsExternal(pEntity))
        {
            continue;
        }
        const bool bParameter = pEntity->etype == XML_EXTERNAL_PARAMETER_ENTITY;
        bool bReferenced = false;
        for (const xmlNode* pReference : vReferences)
        {
            bReferenced = bReferenced || (!bParameter && NameOf(pReference) == NameOf(pChild));
        }
        if (!bReferenced)
        {
            AddAt("external-declaration-not-loaded", strFile,
                  LineOfDeclaration(strText, "<!ENTITY", NameOf(pChild), bParameter), 0, std::string(),
                  std::string(bParameter ? "the parameter entity " : "the entity ") + Quote(NameOf(pChild)) +
                      " is external (" + ExternalIdentifier(pEntity->ExternalID, pEntity->SystemID) +
                      "): the checker never loads it, so nothing it holds is read");
        }
    }
    for (const xmlNode* pReference : vReferences)
    {
        const xmlEntity* pEntity = xmlGetDocEntity(pDocument, pReference->name);
        if (!IsExternal(pEntity))
        {
            // An entity declared nowhere: the parser's message below points
            // at it.
            continue;
        }
        const xmlNode* pElement = pReference->parent;
        const char* pszSeen = TextOf(pElement);
        AddAt("entity-not-loaded", strFile, LineOf(pElement), 0, NameOf(pElement),
              NameOf(pElement) + " refers to the external entity " + Quote(NameOf(pReference)) + " (" +
                  ExternalIdentifier(pEntity->ExternalID, pEntity->SystemID) +
                  "): the checker never loads it, so it reads " +
                  (pszSeen != nullptr ? "only " + Quote(pszSeen) + " as the text of " + NameOf(pElement)
                                      : "no text in " + NameOf(pElement)));
    }

    for (const xmlsupport::SParseDiagnostic& diagnostic : vDiagnostics)
    {
        if (diagnostic.nCode == XML_WAR_UNDECLARED_ENTITY || diagnostic.nCode == XML_ERR_UNDECLARED_ENTITY)
        {
            AddAt("entity-not-loaded", strFile, diagnostic.nLine, diagnostic.nColumn, std::string(),
                  "the entity " + Quote(QuotedName(diagnostic.strMessage)) + " is declared nowhere in the document" +
                      (bExternalDTD ? " (only the external DTD, which the checker never loads, may declare it)" : "") +
                      ": the checker reads nothing in its place");
        }
        else
        {
            AddAt("xml-parser-message", strFile, diagnostic.nLine, diagnostic.nColumn, std::string(),
                  "the parser reports " + Quote(diagnostic.strMessage) +
                      " and reads on: the checker reads the document as the parser repairs it");
        }
    }
}
