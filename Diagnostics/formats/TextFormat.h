#ifndef VEXDEP_TEXTFORMAT_H
#define VEXDEP_TEXTFORMAT_H

#include "XmlSupport.h"

#include <cstddef>
#include <string>
#include <vector>

// The pieces of vexinspect's text output that every command shares.
namespace textformat
{
// The label of a labelled line, padded with blanks to nWidth columns and
// followed by ": " ("Source              : ..."); a longer label is cut.
std::string Label(const std::string& strLabel, std::size_t nWidth);

// The text in double quotes, as the outputs show names and values.
std::string Quote(const std::string& strText);

// Why a document does not parse, in the parser's words with its place:
// "line 3, column 7: Premature end of data in tag Device line 2" (the first
// fatal message), or "the parser gives no reason".
std::string ParseFailure(const std::vector<xmlsupport::SParseDiagnostic>& vDiagnostics);
} // namespace textformat

#endif // VEXDEP_TEXTFORMAT_H
