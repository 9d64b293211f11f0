#ifndef VEXDEP_BADCATALOGUE_H
#define VEXDEP_BADCATALOGUE_H

#include <string>
#include <vector>

namespace vextest
{
// One case of the catalogue of bad packages (tests/fixtures/bad), as far as
// another program than vexdepcheck needs it: the package, made ready as the
// catalogue's README describes (placeholders expanded, setup applied), and
// the environment of its runs. The firmware recipe and the expected outputs
// are the business of the catalogue's own test.
struct BadCatalogueCase
{
    std::string strName;
    std::string strOutsideKind = "file"; // file or fifo
    std::vector<std::string> vSetup;
    std::vector<std::string> vEnvironment; // NAME=value
};

// The names of the catalogue's cases, sorted.
std::vector<std::string> BadCatalogueCaseNames();
BadCatalogueCase ReadBadCatalogueCase(const std::string& strName);
// Writes the case's package into strPackage (an existing, empty directory),
// with strOutside as the outside file (made as the case says).
void PrepareBadCatalogueCase(const BadCatalogueCase& badCase, const std::string& strPackage,
                             const std::string& strOutside);
} // namespace vextest

#endif // VEXDEP_BADCATALOGUE_H
