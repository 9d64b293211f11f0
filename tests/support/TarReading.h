#ifndef VEXDEP_TARREADING_H
#define VEXDEP_TARREADING_H

#include "ArchiveStream.h"
#include "RawInput.h"
#include "TarReader.h"

#include <string>
#include <vector>

namespace vextest
{
// What the tar reader makes of an archive (compressed or not): its members,
// the data of each, and the error that ended the reading ("" at the end).
struct TarRead
{
    std::vector<STarMember> vMembers;
    std::vector<std::string> vData;
    std::string strError;
};

// Header-only, for the tests that link the planning library.
inline TarRead ReadTarArchive(const std::string& strBytes)
{
    TarRead result;
    CMemoryInput input(strBytes);
    CArchiveStream stream;
    if (!stream.Open(input, result.strError))
    {
        return result;
    }
    CTarReader reader(stream);
    STarMember member;
    while (reader.Next(member, result.strError))
    {
        result.vMembers.push_back(member);
        std::string strData;
        if (!reader.ReadData(strData, 1 << 20, result.strError))
        {
            break;
        }
        result.vData.push_back(strData);
    }
    return result;
}
} // namespace vextest

#endif // VEXDEP_TARREADING_H
