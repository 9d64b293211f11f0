#ifndef VEXDEP_REPOINDEXCOMMAND_H
#define VEXDEP_REPOINDEXCOMMAND_H

#include <iosfwd>
#include <string>

struct SRepoIndexOptions
{
    std::string strRepository;
    std::string strOutput; // the catalog's file; catalog.json in the repository when empty, "-" for standard output
    bool bJson = false;    // the summary as JSON
};

// vexinspect repo index DIR: writes the repository's catalog (every
// package's path, identity, version, display name, dependencies, release
// directories and content digest; docs/json/catalog.schema.json). A
// package whose files have the size and modification time the existing
// catalog recorded is taken from it unread. Prints what it did.
//
// Exit status: 0 the catalog was written; 66 the repository cannot be
// read; 73 the catalog cannot be written.
class CRepoIndexCommand
{
public:
    static constexpr int nExitWritten = 0;
    static constexpr int nExitUnusableInput = 66;
    static constexpr int nExitCannotWrite = 73;

    explicit CRepoIndexCommand(const SRepoIndexOptions& options);
    int Run(std::ostream& out, std::ostream& err);

private:
    SRepoIndexOptions m_options;
};

#endif // VEXDEP_REPOINDEXCOMMAND_H
