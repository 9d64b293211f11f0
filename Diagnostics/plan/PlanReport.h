#ifndef VEXDEP_PLANREPORT_H
#define VEXDEP_PLANREPORT_H

#include "Plan.h"

#include <nlohmann/json.hpp>

#include <string>

// The plan as the operator reads it (text) and as tools read it (JSON,
// docs/json/plan.schema.json). The JSON is a contract: versioned by
// schemaVersion, fields only added within a version.
class CPlanReport
{
public:
    static constexpr int nSchemaVersion = 1;

    static std::string ToText(const SPlan& plan);
    static nlohmann::ordered_json ToJson(const SPlan& plan);

    // The key of a checker verdict: met, unmet, failed, not-installed, ...
    static std::string VerdictKey(EVerdict eVerdict);
};

#endif // VEXDEP_PLANREPORT_H
