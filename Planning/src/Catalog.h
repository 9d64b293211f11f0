#ifndef VEXDEP_CATALOG_H
#define VEXDEP_CATALOG_H

#include "PackageDescription.h"

#include <nlohmann/json.hpp>

#include <cstddef>
#include <string>
#include <vector>

// A package the repository holds but that could not be taken in, and why.
struct SRefusedPackage
{
    std::string strPath; // relative to the repository root
    std::string strReason;
};

// The catalog of a repository: every package's description, the packages
// that were refused, and where the repository was. Written by
// vexinspect repo index as JSON (docs/json/catalog.schema.json), read back
// to index again without reading unchanged packages, and to plan.
struct SCatalog
{
    std::string strRepository;
    std::vector<SPackageDescription> vPackages;
    std::vector<SRefusedPackage> vRefused;
    // Entries of a catalog that was read that are not packages (a field
    // missing or of the wrong type), by path where it could be read.
    std::vector<SRefusedPackage> vMalformedEntries;
};

class CCatalog
{
public:
    static constexpr int nSchemaVersion = 1;
    // The catalog's name in the repository's root.
    static const char* const pszFileName;
    // The largest catalog that is read, and its deepest nesting.
    static const std::size_t nMaxBytes;
    static const std::size_t nMaxDepth;

    static nlohmann::ordered_json ToJson(const SCatalog& catalog);
    static nlohmann::ordered_json PackageJson(const SPackageDescription& package);
    static nlohmann::ordered_json DependencyJson(const SDeclaredDependency& dependency);
    static std::string ToText(const SCatalog& catalog);

    // Reads a catalog's text. False, with the reason, when it is no catalog
    // of this schema version at all; an entry that is malformed is left
    // out and named in vMalformedEntries.
    static bool Parse(const std::string& strText, SCatalog& catalog, std::string& strError);
};

#endif // VEXDEP_CATALOG_H
