#ifndef VEXDEP_JSONFORMAT_H
#define VEXDEP_JSONFORMAT_H

#include <nlohmann/json.hpp>

#include <string>

// The pieces of vexinspect's JSON output that every command shares. Every
// document is an object whose keys keep the order they are written in; a
// change of a document's shape is a change of its schema version
// (docs/json/).
namespace jsonformat
{
using Json = nlohmann::ordered_json;

// A command's document as it starts: "schemaVersion", then "command".
Json Document(int nSchemaVersion, const char* pszCommand);

// null for the empty text, the text otherwise.
Json TextOrNull(const std::string& strText);

// The document as vexinspect prints it: indented by two blanks, bytes that
// are not UTF-8 replaced, followed by a line end.
std::string Print(const Json& json);
} // namespace jsonformat

#endif // VEXDEP_JSONFORMAT_H
