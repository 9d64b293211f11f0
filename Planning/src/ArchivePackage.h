#ifndef VEXDEP_ARCHIVEPACKAGE_H
#define VEXDEP_ARCHIVEPACKAGE_H

#include "ArchiveStream.h"
#include "RawInput.h"
#include "TarReader.h"

#include <string>
#include <vector>

// What one pass over a package archive found.
struct SArchiveContent
{
    CArchiveStream::ECompression eCompression = CArchiveStream::ECompression::None;
    bool bHasPackageXml = false;
    std::string strPackageXml;
    std::vector<STarMember> vMembers;
    std::string strDigest; // SHA-256 of the archive's bytes, hexadecimal
};

// A package held in a tar archive (plain, gzip or xz) with package.xml at
// its root. The archive is read as a stream; its payload is never written
// anywhere. Only the metadata a plan needs (package.xml and the release
// directories its dependencies name) is written, into a directory the
// planner made for it. Every member is checked by the tar reader; a member
// named twice is refused as well, since which of the two counts would
// depend on the tool that unpacks it.
class CArchivePackage
{
public:
    // Whether the input starts as a tar archive (compressed or not).
    static bool LooksLikeArchive(IRawInput& input);
    // Reads the whole archive once: package.xml, the list of members and
    // the digest.
    static bool Scan(IRawInput& input, SArchiveContent& content, std::string& strError);
    // Writes package.xml and every member inside the release directories
    // (relative directories as CRepositoryPath::FromReleaseID gives them)
    // below strTarget, an empty directory; strDigest receives the archive's
    // digest.
    static bool ExtractMetadata(IRawInput& input, const std::vector<std::string>& vReleaseDirectories,
                                const std::string& strTarget, std::string& strDigest, std::string& strError);
};

#endif // VEXDEP_ARCHIVEPACKAGE_H
