// The SARIF log of lint findings: rules, results, locations and the package
// directory's URI.

#include "PackageLinter.h"
#include "SarifLog.h"
#include "TestSupport.h"
#include "Version.h"

#include <gtest/gtest.h>

using namespace vextest;

namespace
{
SLintFinding Finding(const std::string& strCode, const std::string& strFile, long nLine, long nColumn,
                     const std::string& strElement)
{
    SLintFinding finding;
    finding.strCode = strCode;
    const SLintRule* pRule = CPackageLinter::FindRule(strCode);
    finding.eSeverity = pRule != nullptr ? pRule->eSeverity : SLintFinding::ESeverity::Error;
    finding.strFile = strFile;
    finding.nLine = nLine;
    finding.nColumn = nColumn;
    finding.strElement = strElement;
    finding.strMessage = "message of " + strCode;
    return finding;
}
} // namespace

TEST(SarifLog, NamesEncodingAndDirectoryUri)
{
    EXPECT_EQ(CSarifLog::RuleName("missing-version"), "MissingVersion");
    EXPECT_EQ(CSarifLog::RuleName("external-declaration-not-loaded"), "ExternalDeclarationNotLoaded");
    EXPECT_EQ(CSarifLog::EncodePath("REL 002/PIEConfig.xml"), "REL%20002/PIEConfig.xml");
    EXPECT_EQ(CSarifLog::EncodePath("a#b%c?d_e~f.g-h"), "a%23b%25c%3Fd_e~f.g-h");
    EXPECT_EQ(CSarifLog::EncodePath("\xc3\xa9"), "%C3%A9");
    EXPECT_EQ(CSarifLog::DirectoryUri("/srv/pkg"), "file:///srv/pkg/");
    EXPECT_EQ(CSarifLog::DirectoryUri("/srv/my pkg/./"), "file:///srv/my%20pkg/");

    TempDir dir;
    ScopedCwd cwd(dir.Path());
    const std::string strBase = "file://" + CSarifLog::EncodePath(dir.Path());
    EXPECT_EQ(CSarifLog::DirectoryUri("."), strBase + "/");
    EXPECT_EQ(CSarifLog::DirectoryUri(""), strBase + "/");
    EXPECT_EQ(CSarifLog::DirectoryUri("sub/pkg"), strBase + "/sub/pkg/");
}

TEST(SarifLog, OneRunWithEveryRuleAndOneResultPerFinding)
{
    const nlohmann::ordered_json log =
        CSarifLog::ForLint("/srv/pkg", {Finding("package-unparsable", "package.xml", 3, 20, ""),
                                        Finding("version-compared-as-text", "package.xml", 11, 0, "Dependency"),
                                        Finding("pieconfig-unparsable", "REL 2/PIEConfig.xml", 0, 0, "")});
    EXPECT_EQ(log.begin().key(), "$schema");
    EXPECT_EQ(log["$schema"], CSarifLog::kSchemaUri);
    EXPECT_EQ(log["version"], "2.1.0");
    ASSERT_EQ(log["runs"].size(), 1u);
    const nlohmann::ordered_json& run = log["runs"][0];

    const nlohmann::ordered_json& driver = run["tool"]["driver"];
    EXPECT_EQ(driver["name"], "vexinspect");
    EXPECT_EQ(driver["version"], VEXDEP_VERSION);
    const std::vector<SLintRule>& vRules = CPackageLinter::Rules();
    ASSERT_EQ(driver["rules"].size(), vRules.size());
    for (std::size_t i = 0; i < vRules.size(); ++i)
    {
        const nlohmann::ordered_json& rule = driver["rules"][i];
        SCOPED_TRACE(vRules[i].pszCode);
        EXPECT_EQ(rule["id"], vRules[i].pszCode);
        EXPECT_EQ(rule["name"], CSarifLog::RuleName(vRules[i].pszCode));
        EXPECT_EQ(rule["shortDescription"]["text"], vRules[i].pszSummary);
        EXPECT_NE(rule["fullDescription"]["text"].get<std::string>().find(vRules[i].pszSummary), std::string::npos);
        ASSERT_NE(vRules[i].pszHelp, nullptr);
        EXPECT_EQ(rule["help"]["text"], vRules[i].pszHelp);
        EXPECT_EQ(rule["defaultConfiguration"]["level"],
                  vRules[i].eSeverity == SLintFinding::ESeverity::Error ? "error" : "warning");
    }

    EXPECT_EQ(run["originalUriBaseIds"]["PACKAGEROOT"]["uri"], "file:///srv/pkg/");
    const nlohmann::ordered_json& results = run["results"];
    ASSERT_EQ(results.size(), 3u);
    EXPECT_EQ(results[0]["ruleId"], "package-unparsable");
    EXPECT_EQ(driver["rules"][results[0]["ruleIndex"].get<std::size_t>()]["id"], "package-unparsable");
    EXPECT_EQ(results[0]["level"], "error");
    EXPECT_EQ(results[0]["message"]["text"], "message of package-unparsable");
    const nlohmann::ordered_json& first = results[0]["locations"][0]["physicalLocation"];
    EXPECT_EQ(first["artifactLocation"]["uri"], "package.xml");
    EXPECT_EQ(first["artifactLocation"]["uriBaseId"], "PACKAGEROOT");
    EXPECT_EQ(first["region"]["startLine"], 3);
    EXPECT_EQ(first["region"]["startColumn"], 20);
    EXPECT_FALSE(results[0].contains("properties"));

    EXPECT_EQ(results[1]["level"], "warning");
    const nlohmann::ordered_json& second = results[1]["locations"][0]["physicalLocation"];
    EXPECT_EQ(second["region"]["startLine"], 11);
    EXPECT_FALSE(second["region"].contains("startColumn"));
    EXPECT_EQ(results[1]["properties"]["element"], "Dependency");

    const nlohmann::ordered_json& third = results[2]["locations"][0]["physicalLocation"];
    EXPECT_EQ(third["artifactLocation"]["uri"], "REL%202/PIEConfig.xml");
    // A finding about the whole file points at its first line, as
    // code-scanning tools require a start line.
    EXPECT_EQ(third["region"]["startLine"], 1);
    EXPECT_FALSE(third["region"].contains("startColumn"));
}

TEST(SarifLog, NoFindingsGiveAnEmptyResultList)
{
    const nlohmann::ordered_json log = CSarifLog::ForLint("/srv/pkg", {});
    ASSERT_TRUE(log["runs"][0]["results"].is_array());
    EXPECT_TRUE(log["runs"][0]["results"].empty());
}
