#include "ShellCharacters.h"

#include <cstring>

namespace
{
const char* const kShellCharacters = " \t\n|&;<>()$`\\\"'*?[";

bool IsSpecial(char c) { return c != '\0' && std::strchr(kShellCharacters, c) != nullptr; }
} // namespace

std::string CShellCharacters::Shown(const std::string& strText)
{
    std::string strShown;
    for (char c : strText)
    {
        if (!IsSpecial(c))
        {
            continue;
        }
        const std::string strCharacter = c == ' '    ? "blank"
                                         : c == '\t' ? "tab"
                                         : c == '\n' ? "line end"
                                                     : std::string(1, c);
        if (strShown.find("'" + strCharacter + "'") == std::string::npos)
        {
            strShown += (strShown.empty() ? "" : ", ") + ("'" + strCharacter + "'");
        }
    }
    return strShown;
}

bool CShellCharacters::Holds(const std::string& strText)
{
    for (char c : strText)
    {
        if (IsSpecial(c))
        {
            return true;
        }
    }
    return false;
}
