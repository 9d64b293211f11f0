// Fuzz target: the inventory plug-in configuration reader.
//
// The first byte's bit 0 sets libxml2's process-wide keep-blanks default
// before the file is read; the rest is written as "PIEConfig.xml" into the
// scratch directory. Init runs on it, then the three getters and the plug-in
// list.

#include "FuzzSupport.h"

#include "PIEConfigInfo.h"
#include "XmlSupport.h"

#include <cstddef>
#include <cstdint>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, std::size_t nSize)
{
    if (nSize == 0)
    {
        return 0;
    }
    const bool bKeepBlanks = (pData[0] & 0x01) != 0;
    const std::string strConfigPath = vexfuzz::ScratchPath("PIEConfig.xml");

    vexfuzz::ScopedScratchCwd cwd;
    vexfuzz::WriteFileOrDie(strConfigPath, vexfuzz::AsText(pData + 1, nSize - 1));
    xmlsupport::SetKeepBlanksDefault(bKeepBlanks);

    std::size_t nSum = 0;
    {
        CPIEConfigInfo config;
        const bool bInit = config.Init(strConfigPath);
        const std::string strCommand = config.GetInventoryCommand();
        const std::string strOutput = config.GetInventoryCommandOutFileName();
        const long nTimeout = config.GetInventoryTimeout();
        // A failed Init stores neither text.
        if (!bInit && (!strCommand.empty() || !strOutput.empty()))
        {
            __builtin_trap();
        }
        nSum += strCommand.size() + strOutput.size() + static_cast<std::size_t>(nTimeout);
        xmlsupport::NodeSetPtr pPlugins = config.GetPlugins();
        for (std::size_t i = 0; i < xmlsupport::NodeCount(pPlugins.get()); ++i)
        {
            xmlNode* pPlugin = xmlsupport::NodeAt(pPlugins.get(), i);
            nSum += config.GetAttributeValue(pPlugin, "description") != nullptr ? 1 : 0;
            nSum += config.GetInventoryCommandInfo(pPlugin) ? 1 : 0;
        }
        nSum += config.GetInventoryCommandInfo(nullptr) ? 1 : 0;
        nSum += config.GetNodeSet(reinterpret_cast<const unsigned char*>("//Plugin[")) ? 1 : 0;
    }
    {
        // A second reader on a path that is not there, and one on no path.
        CPIEConfigInfo missing;
        nSum += missing.Init(vexfuzz::ScratchPath("no-such-PIEConfig.xml")) ? 1 : 0;
        CPIEConfigInfo unnamed;
        nSum += unnamed.Init(std::string()) ? 1 : 0;
    }
    xmlsupport::SetKeepBlanksDefault(false);
    vexfuzz::Consume(nSum);
    return 0;
}
