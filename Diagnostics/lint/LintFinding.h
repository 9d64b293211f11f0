#ifndef VEXDEP_LINTFINDING_H
#define VEXDEP_LINTFINDING_H

// What vexinspect lint reports, as its three output formats (text and JSON
// in LintCommand, SARIF in formats/SarifLog) read it.

#include <string>

// One thing in a package that the checker treats differently from what its
// author probably meant.
struct SLintFinding
{
    enum class ESeverity
    {
        Warning, // the checker runs, but not as the package reads
        Error    // a dependency can never be verified, or never applies as written
    };

    std::string strCode;
    ESeverity eSeverity = ESeverity::Warning;
    std::string strFile; // relative to the package directory
    long nLine = 0;      // line of the element; 0 when there is no element to point at
    long nColumn = 0;    // column, where the parser names one; 0 otherwise
    std::string strElement;
    std::string strMessage;
};

// A kind of finding: its code, its severity and what it is about.
struct SLintRule
{
    const char* pszCode;
    SLintFinding::ESeverity eSeverity;
    const char* pszSummary;
    const char* pszHelp; // what the package's author can do about it
};

#endif // VEXDEP_LINTFINDING_H
