#ifndef VEXDEP_SHELLCHARACTERS_H
#define VEXDEP_SHELLCHARACTERS_H

#include <string>

// What the collectors' shell does with the paths in a collector's command
// line. The checker runs "<package directory>//<release ID>//<command>"
// through /bin/sh -c, the paths unquoted: characters that the shell treats
// specially anywhere in a word split the line (blank, tab, line end) or
// quote, substitute, redirect, chain or glob (| & ; < > ( ) $ ` \ " ' * ? [).
class CShellCharacters
{
public:
    // The special characters in the text, each once, in the order they first
    // appear, as "' ' (blank), '$'": empty when there is none.
    static std::string Shown(const std::string& strText);
    // True when the text holds one of them.
    static bool Holds(const std::string& strText);
};

#endif // VEXDEP_SHELLCHARACTERS_H
