#ifndef VEXDEP_EXPLAINJSON_H
#define VEXDEP_EXPLAINJSON_H

#include "ExplainModel.h"

#include <nlohmann/json.hpp>

// The explanation of a run as the JSON document of "vexinspect explain
// --json" (docs/json/explain.schema.json).
class CExplainJson
{
public:
    // The version of the document's shape, its first key.
    // 2 added each dependency's detail.
    static constexpr int nSchemaVersion = 2;

    static nlohmann::ordered_json Render(const SExplainedRun& run);
};

#endif // VEXDEP_EXPLAINJSON_H
