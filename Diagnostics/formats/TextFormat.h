#ifndef VEXDEP_TEXTFORMAT_H
#define VEXDEP_TEXTFORMAT_H

#include <cstddef>
#include <string>

// The pieces of vexinspect's text output that every command shares.
namespace textformat
{
// The label of a labelled line, padded with blanks to nWidth columns and
// followed by ": " ("Source              : ..."); a longer label is cut.
std::string Label(const std::string& strLabel, std::size_t nWidth);

// The text in double quotes, as the outputs show names and values.
std::string Quote(const std::string& strText);
} // namespace textformat

#endif // VEXDEP_TEXTFORMAT_H
