#ifndef VEXDEP_REPOSITORYLIMITS_H
#define VEXDEP_REPOSITORYLIMITS_H

#include <cstddef>
#include <cstdint>

// How far the repository reader goes before it calls a package hostile. No
// real update package comes near any of these.
namespace repositorylimits
{
// package.xml, read whole.
constexpr std::size_t nMaxPackageXmlBytes = std::size_t{16} * 1024 * 1024;
// package.xml and the release directories of one package, copied for a plan.
constexpr uint64_t nMaxMetadataBytes = 256ULL * 1024 * 1024;
// Files and directories of one directory package.
constexpr std::size_t nMaxPackageEntries = 100000;
// Directory levels, in the tree and inside a package.
constexpr std::size_t nMaxDepth = 64;
// Entries the walk of the whole tree looks at.
constexpr std::size_t nMaxTreeEntries = 2000000;
} // namespace repositorylimits

#endif // VEXDEP_REPOSITORYLIMITS_H
