#ifndef VEXDEP_EXPLAINTEXT_H
#define VEXDEP_EXPLAINTEXT_H

#include "ExplainModel.h"

#include <string>

// The explanation of a run as text: a header with the package, the machine
// and the collectors' time limit, a block per declared dependency with every
// step the checker took, then what vexdepcheck reports, the verdict with its
// reasons and the exit status (docs/diagnostics.md).
class CExplainText
{
public:
    static std::string Render(const SExplainedRun& run);
};

#endif // VEXDEP_EXPLAINTEXT_H
