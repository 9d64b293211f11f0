#pragma once

// The dependencies a run reported, as (display name, failed) pairs in report
// order: read from the report vexdepcheck printed, or from the JSON
// explanation of vexinspect, so that tests can check that the two agree.

#include "TestSupport.h"

#include <nlohmann/json.hpp>

#include <string>
#include <utility>
#include <vector>

namespace vextest
{
using Reported = std::vector<std::pair<std::string, bool>>;

// Each block of the report starts with the display name on the line before
// its current-version line; "Failed" there marks a failed inventory.
inline Reported ReportedByChecker(const std::string& strStdout)
{
    const std::string strCurrent = "\tCurrent  Version     : ";
    const std::vector<std::string> vLines = Lines(strStdout);
    Reported vReported;
    for (std::size_t i = 0; i + 1 < vLines.size(); ++i)
    {
        if (vLines[i + 1].compare(0, strCurrent.size(), strCurrent) == 0)
        {
            vReported.emplace_back(vLines[i], vLines[i + 1] == strCurrent + "Failed");
        }
    }
    return vReported;
}

inline Reported ReportedByExplain(const nlohmann::json& json)
{
    Reported vReported;
    for (const nlohmann::json& entry : json["reported"])
    {
        vReported.emplace_back(entry["display"].get<std::string>(), entry["state"] == "failed");
    }
    return vReported;
}
} // namespace vextest
