#ifndef VEXDEP_TARGETPACKAGECOPY_H
#define VEXDEP_TARGETPACKAGECOPY_H

#include <string>
#include <vector>

// Copies the package being installed (the operator's own package
// directory, which vexdepcheck would run in place) into the plan's scratch
// area, so that the plan evaluates it exactly as vexdepcheck would while
// writing nothing into it: package.xml and every release directory its
// dependencies name, as they are. Regular files keep their permission
// bits; named pipes stay named pipes; symbolic links stay links to what
// they name (a relative link is made absolute, so that it names the same
// file from the copy); a package.xml that is not a regular file is left
// out, as the checker reads none then. Devices and sockets are left out.
class CTargetPackageCopy
{
public:
    // Copies package.xml into strTarget (an empty directory); false only
    // when the copy cannot be written.
    static bool CopyPackageDescription(const std::string& strSource, const std::string& strTarget,
                                       std::string& strError);
    // Copies the release directories (relative directories as
    // CRepositoryPath::FromReleaseID gives them; "" the top-level files).
    static bool CopyReleaseDirectories(const std::string& strSource, const std::string& strTarget,
                                       const std::vector<std::string>& vReleaseDirectories, std::string& strError);
};

#endif // VEXDEP_TARGETPACKAGECOPY_H
