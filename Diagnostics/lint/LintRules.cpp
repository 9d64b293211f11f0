// CPackageLinter: the kinds of finding, with their severity, what each is
// about and what the package's author can do about it.

#include "PackageLinter.h"

namespace
{
const std::vector<SLintRule> kRules = {
    {"package-missing", SLintFinding::ESeverity::Error, "package.xml does not exist: nothing is declared",
     "Put the package description, package.xml, into the package directory."},
    {"package-unparsable", SLintFinding::ESeverity::Error, "package.xml is not well-formed: nothing is declared",
     "Correct package.xml at the line and column that the parser's message names."},
    {"package-root-wrong", SLintFinding::ESeverity::Error,
     "package.xml has no SoftwareComponent element that the package reader's queries match: nothing is declared",
     "Make SoftwareComponent, spelled exactly so and without a namespace, the root element of package.xml."},
    {"supported-devices-missing", SLintFinding::ESeverity::Error,
     "no SupportedDevices element under SoftwareComponent: no device and no dependency is read",
     "Put the Device elements, with their Dependency and SoftDependency elements, into "
     "SoftwareComponent/SupportedDevices."},
    {"entity-not-loaded", SLintFinding::ESeverity::Error,
     "a reference to an entity that is never loaded (an external entity, or one declared only in an external DTD): "
     "nothing is read in its place",
     "Write the text itself instead of the entity reference; the checker reads no file beside the document."},
    {"missing-version", SLintFinding::ESeverity::Error,
     "a dependency without \"version\" requires the empty version and is never reported unmet",
     "Give every dependency a \"version\" attribute with the least version it requires."},
    {"missing-release-id", SLintFinding::ESeverity::Error,
     "a dependency without \"releaseID\" looks for its collector in the package directory itself",
     "Give the dependency the \"releaseID\" of the release directory that holds its collector."},
    {"missing-component-type", SLintFinding::ESeverity::Error,
     "a dependency without \"componentType\" matches no installed component and is never reported",
     "Give the dependency the \"componentType\" of the component it requires."},
    {"release-id-shell-characters", SLintFinding::ESeverity::Error,
     "a releaseID with characters that the shell splits or interprets breaks the collector's command line",
     "Name release directories with letters, digits, '-', '_' and '.' only."},
    {"system-id-prefixed", SLintFinding::ESeverity::Error,
     "a systemID written with 0x becomes 0x0x... and never matches the machine",
     "Write \"systemID\" without 0x: the checker adds the prefix itself."},
    {"release-directory-missing", SLintFinding::ESeverity::Error,
     "a release directory that does not exist: its dependencies are never verified",
     "Ship the release directory that the releaseID names, or correct the releaseID."},
    {"pieconfig-missing", SLintFinding::ESeverity::Error,
     "a release directory without PIEConfig.xml: its collector never runs",
     "Put a PIEConfig.xml that declares the inventory plug-in into the release directory."},
    {"pieconfig-unparsable", SLintFinding::ESeverity::Error,
     "a PIEConfig.xml that is not well-formed: its collector never runs",
     "Correct PIEConfig.xml at the line and column that the parser's message names."},
    {"pieconfig-root-wrong", SLintFinding::ESeverity::Error,
     "a PIEConfig.xml without a PIEConfig element that the configuration reader's query matches: its collector "
     "never runs",
     "Make PIEConfig, spelled exactly so and without a namespace, the root element of PIEConfig.xml."},
    {"no-inventory-plugin", SLintFinding::ESeverity::Error,
     "no Plugin with description \"Inventory\", type \"0\" and a timeout: the collector never runs",
     "Declare <Plugin description=\"Inventory\" type=\"0\" timeout=\"N\"> under PIEConfig/Plugins."},
    {"inventory-command-missing", SLintFinding::ESeverity::Error,
     "the inventory plug-in lacks CliToFile with Command and Output: the collector never runs",
     "Give the inventory plug-in a CliToFile element with both Command and Output."},
    {"timeout-below-one", SLintFinding::ESeverity::Error, "a timeout below 1 second: the collector never runs",
     "Give the inventory plug-in a timeout of at least 1 second, written as a number."},
    {"release-directory-unreadable", SLintFinding::ESeverity::Error,
     "a release directory that exists but cannot be entered: its collector never runs",
     "Make the release directory (and the package directory) searchable by the user who runs the checker."},
    {"collector-command-not-found", SLintFinding::ESeverity::Error,
     "the collector's command names no file in the release directory: the shell finds nothing to run and the "
     "release gets no inventory",
     "Ship the collector in the release directory under the name Command gives (relative to the directory)."},
    {"collector-not-executable", SLintFinding::ESeverity::Error,
     "the collector's command names a file that is not executable: the shell cannot run it and the release gets no "
     "inventory",
     "Ship the collector with its execute permission set (chmod a+x) in the package."},
    {"system-id-never-matches", SLintFinding::ESeverity::Error,
     "a systemID that no machine's ID ever equals: that platform never applies",
     "Write systemID as the platform ID without 0x: two lower-case hexadecimal digits for a single-byte ID, four "
     "upper-case ones for a two-byte ID (0A1C)."},
    {"version-part-overflows", SLintFinding::ESeverity::Error,
     "a version with a part too large for the checker's 32-bit numbers: it is compared as another number",
     "Keep every part of a version below 2147483648."},
    {"version-part-not-a-number", SLintFinding::ESeverity::Error,
     "a version part with a character that ends the number (\"2,5\" reads as 2): it is compared as a smaller "
     "version",
     "Separate the parts of a version with '.', '-' or '_' only, and write each part in digits."},
    {"package-directory-shell-characters", SLintFinding::ESeverity::Error,
     "a package directory path with characters that the shell splits or interprets: no collector runs from there",
     "Unpack and check the package in a directory whose path holds letters, digits, '/', '-', '_' and '.' only."},
    {"external-declaration-not-loaded", SLintFinding::ESeverity::Warning,
     "an external DTD or an external entity declaration: it is never loaded, nothing it declares applies",
     "Leave out external DTDs and external entities: the checker reads the document alone."},
    {"encoding-needs-c-library", SLintFinding::ESeverity::Warning,
     "an encoding the XML library reads only through the C library's conversion modules: the portable checker "
     "cannot read the document on a server without them",
     "Write the document in UTF-8 (or UTF-16, ISO-8859-1 or ASCII), which the XML library reads itself."},
    {"xml-parser-message", SLintFinding::ESeverity::Warning,
     "the parser reports a problem and reads on: the document may not read as written",
     "Correct the document at the line and column that the parser's message names."},
    {"package-root-nested", SLintFinding::ESeverity::Warning,
     "the root element of package.xml is not SoftwareComponent: the SoftwareComponent elements inside it are read",
     "Make SoftwareComponent the root element of package.xml."},
    {"context-never-applies", SLintFinding::ESeverity::Warning,
     "a context other than OS or ALL: the dependency never applies",
     "Use the context OS or ALL, or leave it out (OS), for a dependency that is meant to apply."},
    {"version-compared-as-text", SLintFinding::ESeverity::Warning,
     "a version with letters or blanks is compared as text (\"9\" counts newer than \"10a\")",
     "Write versions with digits and separators only where they must compare as numbers."},
    {"brand-repeated", SLintFinding::ESeverity::Warning,
     "two or more Brand elements: the system IDs of the later ones are listed more than once",
     "Put all Model elements of a dependency into one Brand element."},
    {"os-attribute-carried-over", SLintFinding::ESeverity::Warning,
     "an OS attribute left out keeps the value of an earlier OS element",
     "Write every compared OS attribute on every OperatingSystem element."},
    {"pci-attribute-carried-over", SLintFinding::ESeverity::Warning,
     "a PCI attribute left out keeps the value of an earlier PCI element",
     "Write all four PCI attributes on every PCIInfo element."},
    {"duplicate-dependency", SLintFinding::ESeverity::Warning,
     "a dependency equal to an earlier one of the same device collapses into it",
     "Remove the repeated dependency, or make the two differ in what they require."},
    {"timeout-not-a-number", SLintFinding::ESeverity::Warning,
     "a timeout that is not a plain number of seconds (\"60s\" is read as 60)",
     "Write the timeout as a whole number of seconds, digits only."},
    {"system-id-memory-only", SLintFinding::ESeverity::Warning,
     "a systemID that only a machine whose ID comes from physical memory can match, never one whose SMBIOS table "
     "holds the ID",
     "Write systemID as the SMBIOS table gives it: two lower-case hexadecimal digits for a single-byte ID, four "
     "upper-case ones for a two-byte ID."},
};
} // namespace

const std::vector<SLintRule>& CPackageLinter::Rules() { return kRules; }

const SLintRule* CPackageLinter::FindRule(const std::string& strCode)
{
    for (const SLintRule& rule : kRules)
    {
        if (strCode == rule.pszCode)
        {
            return &rule;
        }
    }
    return nullptr;
}
