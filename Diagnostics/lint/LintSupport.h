#ifndef VEXDEP_LINTSUPPORT_H
#define VEXDEP_LINTSUPPORT_H

// What the package linter's files share: the package description's name and
// the questions they ask of the parsed documents' elements. Private to the
// linter's source files.

#include "XmlSupport.h"

#include <string>

namespace lintsupport
{
const char* const kPackageFile = "package.xml";

bool IsElement(const xmlNode* pNode);
// An element whose name is pszName (without regard to its namespace).
bool IsElementNamed(const xmlNode* pNode, const char* pszName);
std::string NameOf(const xmlNode* pNode);
// The text of an element as the package reader takes it: null when empty.
const char* TextOf(const xmlNode* pNode);
// The attribute's value; empty when the element does not carry it.
std::string Attribute(const xmlNode* pNode, const char* pszName);
bool HasAttribute(const xmlNode* pNode, const char* pszName);
// The element's line; 0 without an element.
long LineOf(const xmlNode* pNode);
// The first element at or below pNode, in document order, whose name equals
// pszName ignoring case.
const xmlNode* FindElementLike(const xmlNode* pNode, const char* pszName);
// Why an element that resembles pszName is not what a query for pszName
// (exact name, no namespace) matches.
std::string WhyNotMatched(const xmlNode* pNear, const char* pszName);
} // namespace lintsupport

#endif // VEXDEP_LINTSUPPORT_H
