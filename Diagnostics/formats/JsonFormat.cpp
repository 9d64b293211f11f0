#include "JsonFormat.h"

namespace jsonformat
{
Json Document(int nSchemaVersion, const char* pszCommand)
{
    Json json;
    json["schemaVersion"] = nSchemaVersion;
    json["command"] = pszCommand;
    return json;
}

Json TextOrNull(const std::string& strText) { return strText.empty() ? Json() : Json(strText); }

std::string Print(const Json& json) { return json.dump(2, ' ', false, Json::error_handler_t::replace) + "\n"; }
} // namespace jsonformat
