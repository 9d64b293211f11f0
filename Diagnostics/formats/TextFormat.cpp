#include "TextFormat.h"

#include <libxml/xmlerror.h>

namespace textformat
{
std::string Label(const std::string& strLabel, std::size_t nWidth)
{
    std::string strText = strLabel;
    strText.resize(nWidth, ' ');
    return strText + ": ";
}

std::string Quote(const std::string& strText) { return "\"" + strText + "\""; }
std::string ParseFailure(const std::vector<xmlsupport::SParseDiagnostic>& vDiagnostics)
{
    for (const xmlsupport::SParseDiagnostic& diagnostic : vDiagnostics)
    {
        if (diagnostic.eLevel != xmlsupport::SParseDiagnostic::ELevel::Fatal)
        {
            continue;
        }
        // A document without any content is empty at its first line, as
        // the library says ("Document is empty").
        const long nLine = diagnostic.nCode == XML_ERR_DOCUMENT_EMPTY && diagnostic.nLine == 0 ? 1 : diagnostic.nLine;
        std::string strPlace;
        if (nLine > 0)
        {
            strPlace = "line " + std::to_string(nLine) +
                       (diagnostic.nColumn > 0 ? ", column " + std::to_string(diagnostic.nColumn) : std::string()) +
                       ": ";
        }
        return strPlace + diagnostic.strMessage;
    }
    return "the parser gives no reason";
}
} // namespace textformat
