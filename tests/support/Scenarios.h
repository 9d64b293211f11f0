#ifndef VEXDEP_SCENARIOS_H
#define VEXDEP_SCENARIOS_H

#include "CheckerRun.h"

#include <cstddef>
#include <map>
#include <ostream>
#include <string>
#include <vector>

namespace vextest
{
// One run of the checker in a scenario's package and what it must give.
struct ScenarioRun
{
    std::vector<std::string> vArgs; // the arguments after the program name
    int nExitStatus = 255;
    std::string strStdout; // "{BASE}" stands for the download base address
    std::string strStderr; // "{PACKAGE}" stands for the package directory
};

// A complete update package, the firmware the machine shows, and the runs
// of the checker with their expected results.
struct Scenario
{
    std::string strName;
    std::map<std::string, std::string> mapFiles; // path below the package directory -> content
    Firmware firmware = Firmware::NoTables();
    std::vector<std::string> vEnvironment; // NAME=value, set for every run
    std::vector<ScenarioRun> vRuns;
};

// The command that runs vCommand with the scenario's environment set.
std::vector<std::string> WithEnvironment(const Scenario& scenario, const std::vector<std::string>& vCommand);

// The end-to-end catalogue: every scenario the checker is run on.
const std::vector<Scenario>& EndToEndScenarios();

// One run of one scenario, as a parameter of a parametrized test.
struct ScenarioRunRef
{
    std::string strScenario;
    std::size_t nRun;
};
void PrintTo(const ScenarioRunRef& runRef, std::ostream* pStream);
// A test name for the run ("scenario_name_2").
std::string ScenarioRunName(const ScenarioRunRef& runRef);
// Every run of the catalogue, or only those with the single argument
// "hard" or "soft".
std::vector<ScenarioRunRef> CatalogueRuns(bool bPlainTypeOnly = false);
const Scenario& FindScenario(const std::string& strName);

// Writes the scenario's files into strDirectory (collector scripts, named
// "*.sh", executable).
void WriteScenario(const Scenario& scenario, const std::string& strDirectory);

// The expected text with "{BASE}" replaced by the download base address.
std::string ExpandBase(const std::string& strText);

// Building blocks for packages.
std::string PieConfig(const std::string& strCommand, const std::string& strOutput, const std::string& strTimeout);
// A collector script that appends a line to runs.log and writes strInventory
// to inventory.xml.
std::string CollectorScript(const std::string& strInventory);
// Adds a release directory: PIEConfig.xml (collect.sh, inventory.xml, the
// time limit) and collect.sh writing strInventory.
void AddRelease(Scenario& scenario, const std::string& strReleaseID, const std::string& strInventory,
                const std::string& strTimeout = "30");
// SMBIOS tables of a machine of the maker whose revision structure carries
// the given single-byte (and, with 0xFE, two-byte) system ID.
Firmware BrixFirmware(uint8_t nSingleByteId, uint16_t nTwoByteId = 0);
} // namespace vextest

#endif // VEXDEP_SCENARIOS_H
