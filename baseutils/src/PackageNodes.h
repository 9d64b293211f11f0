#ifndef VEXDEP_PACKAGENODES_H
#define VEXDEP_PACKAGENODES_H

// How the package reader reads the nodes of package.xml, shared by the files
// of CSoftwareComponentInfo: names, texts, attributes and PCI identities.

#include "DeviceInfo.h"

#include <libxml/tree.h>

#include <string>

namespace packagenodes
{
const xmlChar* AsXmlChar(const char* pszText);

bool IsElement(const xmlNode* pNode);

// Where the reader walks an element's children or siblings itself, it tests
// their names, ignoring ASCII case, whatever kind of node they are: a
// processing instruction or an entity reference named like the element
// looked for is taken for it (it has no attributes, so values read from an
// earlier one carry over). A node without a name (a CDATA section) matches
// nothing.
bool IsNamed(const xmlNode* pNode, const char* pszName);

// The text of a node as the reader takes it: the content of its first child
// node, whatever kind of node that is (an empty CDATA section or comment
// gives an empty text). Null when there is no first child or it has no
// content.
const char* TextOf(const xmlNode* pNode);

bool EqualsIgnoringCase(const std::string& strLeft, const std::string& strRight);

// Reads an attribute into strField when it has a value; the field keeps its
// previous text otherwise. True when the attribute was read.
bool ReadAttributeInto(const xmlNode* pNode, const char* pszName, std::string& strField);

// Supported-device identifiers are left-padded with zeros to four
// characters (1A becomes 001A); longer texts stay as written.
bool ReadPaddedIdentifier(const xmlNode* pNode, const char* pszName, std::string& strField);

// The four PCI identifiers of a PCIInfo/DepPCIInfo element, as written.
void ReadPCIIdentifiers(const xmlNode* pNode, SPCIInfo& pciInfo);
} // namespace packagenodes

#endif // VEXDEP_PACKAGENODES_H
