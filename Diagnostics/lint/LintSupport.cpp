#include "LintSupport.h"

#include "TextFormat.h"

using textformat::Quote;

namespace lintsupport
{
bool IsElement(const xmlNode* pNode) { return pNode != nullptr && pNode->type == XML_ELEMENT_NODE; }

bool IsElementNamed(const xmlNode* pNode, const char* pszName)
{
    return IsElement(pNode) && xmlsupport::NameEquals(pNode, pszName);
}

std::string NameOf(const xmlNode* pNode)
{
    return pNode != nullptr && pNode->name != nullptr ? reinterpret_cast<const char*>(pNode->name) : "";
}

const char* TextOf(const xmlNode* pNode)
{
    const char* pszText = xmlsupport::FirstChildContent(pNode);
    return (pszText != nullptr && *pszText != '\0') ? pszText : nullptr;
}

std::string Attribute(const xmlNode* pNode, const char* pszName)
{
    const char* pszValue = xmlsupport::AttributeValue(pNode, pszName);
    return pszValue != nullptr ? pszValue : "";
}

bool HasAttribute(const xmlNode* pNode, const char* pszName)
{
    return xmlsupport::AttributeValue(pNode, pszName) != nullptr;
}

long LineOf(const xmlNode* pNode) { return pNode != nullptr ? xmlGetLineNo(pNode) : 0; }

const xmlNode* FindElementLike(const xmlNode* pNode, const char* pszName)
{
    for (; pNode != nullptr; pNode = pNode->next)
    {
        if (IsElementNamed(pNode, pszName))
        {
            return pNode;
        }
        const xmlNode* pFound = IsElement(pNode) ? FindElementLike(pNode->children, pszName) : nullptr;
        if (pFound != nullptr)
        {
            return pFound;
        }
    }
    return nullptr;
}

std::string WhyNotMatched(const xmlNode* pNear, const char* pszName)
{
    if (xmlsupport::NameIs(pNear, pszName) && pNear->ns != nullptr && pNear->ns->href != nullptr)
    {
        return "the " + NameOf(pNear) + " element of line " + std::to_string(LineOf(pNear)) + " is in the namespace " +
               Quote(reinterpret_cast<const char*>(pNear->ns->href)) +
               ", and the queries match only elements without namespace";
    }
    return "the element " + NameOf(pNear) + " of line " + std::to_string(LineOf(pNear)) + " differs from " + pszName +
           " in case, and the queries compare names exactly";
}
} // namespace lintsupport
