#ifndef VEXDEP_REPOPACKCOMMAND_H
#define VEXDEP_REPOPACKCOMMAND_H

#include <iosfwd>
#include <string>

struct SRepoPackOptions
{
    std::string strRepository;
    std::string strOutput; // the archive to write
    bool bJson = false;    // the summary as JSON
};

// vexinspect repo pack DIR -o FILE: writes a gzip tar archive of what a plan
// needs of the repository (each package's package.xml and release
// directories, with their collectors, and the catalog of the packed tree;
// no payload), so that a repository of gigabytes reaches each server as a
// few megabytes. Unpacked, the archive is a repository that vexinspect plan
// takes as it is. Prints what it packed.
//
// Exit status: 0 the archive was written; 66 the repository cannot be
// read; 73 the archive cannot be written.
class CRepoPackCommand
{
public:
    static constexpr int nExitWritten = 0;
    static constexpr int nExitUnusableInput = 66;
    static constexpr int nExitCannotWrite = 73;

    explicit CRepoPackCommand(const SRepoPackOptions& options);
    int Run(std::ostream& out, std::ostream& err);

private:
    SRepoPackOptions m_options;
};

#endif // VEXDEP_REPOPACKCOMMAND_H
