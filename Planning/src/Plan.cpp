#include "Plan.h"

std::string SPlan::VerdictKey(EPlanVerdict eVerdict)
{
    switch (eVerdict)
    {
    case EPlanVerdict::NothingNeeded:
        return "nothing-needed";
    case EPlanVerdict::Complete:
        return "complete";
    case EPlanVerdict::Blocked:
        return "blocked";
    case EPlanVerdict::Unverifiable:
        break;
    }
    return "unverifiable";
}

int SPlan::ExitStatus(EPlanVerdict eVerdict)
{
    switch (eVerdict)
    {
    case EPlanVerdict::NothingNeeded:
        return 0;
    case EPlanVerdict::Complete:
        return 1;
    case EPlanVerdict::Blocked:
        return 2;
    case EPlanVerdict::Unverifiable:
        break;
    }
    return 3;
}
