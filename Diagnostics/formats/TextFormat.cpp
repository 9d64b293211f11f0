#include "TextFormat.h"

namespace textformat
{
std::string Label(const std::string& strLabel, std::size_t nWidth)
{
    std::string strText = strLabel;
    strText.resize(nWidth, ' ');
    return strText + ": ";
}

std::string Quote(const std::string& strText) { return "\"" + strText + "\""; }
} // namespace textformat
