#ifndef VEXDEP_PIECONFIGINFO_H
#define VEXDEP_PIECONFIGINFO_H

#include "XmlSupport.h"

#include <string>

// Reader of a component directory's "PIEConfig.xml": the inventory
// collector's command, the name of the document it writes and its time limit
// in seconds.
//
// The inventory plug-in is the first Plugin element below
// //PIEConfig//Plugins that carries a description, a type and a timeout, with
// description "Inventory" and type "0" (ASCII case ignored). Its first
// CliToFile child holds the Command and Output elements.
class CPIEConfigInfo
{
public:
    CPIEConfigInfo();
    virtual ~CPIEConfigInfo();

    // Parses the file and extracts the three values; true on success.
    bool Init(const std::string& strPath);

    std::string GetInventoryCommand();
    std::string GetInventoryCommandOutFileName();
    // The time limit in seconds, as written in the file (no range check).
    long GetInventoryTimeout();

    // Every Plugin element of the configuration, or null.
    xmlsupport::NodeSetPtr GetPlugins();

    // A non-empty XPath result on the document, or null.
    xmlsupport::NodeSetPtr GetNodeSet(const unsigned char* pszExpression);
    // Finds the inventory plug-in and reads its timeout and command.
    bool GetInventoryPluginInfo();
    // Reads the command and output file name below the plug-in element.
    bool GetInventoryCommandInfo(xmlNode* pPluginNode);
    // An attribute's text, or null when absent or empty.
    const char* GetAttributeValue(xmlNode* pNode, const char* pszName);

private:
    CPIEConfigInfo(const CPIEConfigInfo&) = delete;
    CPIEConfigInfo& operator=(const CPIEConfigInfo&) = delete;

    xmlsupport::DocumentPtr m_pDocument;
    std::string m_strInventoryCommand;
    std::string m_strInventoryOutFileName;
    long m_nInventoryTimeout;
};

#endif // VEXDEP_PIECONFIGINFO_H
