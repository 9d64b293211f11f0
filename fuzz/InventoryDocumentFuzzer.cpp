// Fuzz target: the inventory document reader.
//
// The first byte chooses how the rest is read: bit 0 sets libxml2's
// process-wide keep-blanks default before the reader parses (a checker run
// has it off by then, a reader built first in a process sees it on); bit 1
// chooses between the document as text (as the checker reads "inv.xml") and
// the document as a file (as the inventory module reads a collector's
// output). Every getter then runs.
//
// A text that names an existing path would be read from that path instead;
// those inputs are left out (the file mode covers reading files).

#include "FuzzSupport.h"

#include "DeviceInventoryInfo.h"
#include "XmlSupport.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* pData, std::size_t nSize)
{
    if (nSize == 0)
    {
        return 0;
    }
    const uint8_t nMode = pData[0];
    const std::string strDocument = vexfuzz::AsText(pData + 1, nSize - 1);
    const bool bKeepBlanks = (nMode & 0x01) != 0;
    const bool bAsFile = (nMode & 0x02) != 0;

    vexfuzz::ScopedScratchCwd cwd;
    std::string strSource = strDocument;
    if (bAsFile)
    {
        strSource = vexfuzz::ScratchPath("inventory.xml");
        vexfuzz::WriteFileOrDie(strSource, strDocument);
    }
    else if (vexfuzz::NamesExistingPath(strDocument))
    {
        return 0;
    }

    xmlsupport::SetKeepBlanksDefault(bKeepBlanks);
    std::size_t nSum = 0;
    {
        CDeviceInventoryInfo reader(strSource);
        std::vector<CDeviceInfo*> vDevices = reader.GetDeviceInfo();
        nSum += vexfuzz::ReadWholeRecords(vDevices);
        for (CDeviceInfo* pDevice : vDevices)
        {
            delete pDevice;
        }
        std::string strMessage;
        nSum += static_cast<std::size_t>(reader.GetInventoryStatus(strMessage)) + strMessage.size();
        const SOSInfo osInfo = reader.GetOSInfo();
        nSum += osInfo.strMajorVersion.size() + osInfo.strMinorVersion.size() + osInfo.strSPMajorVersion.size() +
                osInfo.strSPMinorVersion.size() + osInfo.strOSVendor.size() + osInfo.strOSArch.size() +
                osInfo.strInstalledBuildNumber.size() + osInfo.strReserved.size() +
                osInfo.strRequiredBuildNumber.size();
        nSum += reader.GetSystemID().size();
        // The same questions a second time give the same answers.
        std::vector<CDeviceInfo*> vAgain = reader.GetDeviceInfo();
        if (vAgain.size() != vDevices.size())
        {
            __builtin_trap();
        }
        for (CDeviceInfo* pDevice : vAgain)
        {
            delete pDevice;
        }
        nSum += reader.GetNodeSet(nullptr) ? 1 : 0;
        nSum += reader.GetNodeSet(reinterpret_cast<const unsigned char*>("//SVMInventory//Device[")) ? 1 : 0;
        xmlsupport::NodeSetPtr pAll = reader.GetNodeSet(reinterpret_cast<const unsigned char*>("//*"));
        for (std::size_t i = 0; i < xmlsupport::NodeCount(pAll.get()) && i < 64; ++i)
        {
            nSum += reader.GetAttributeValue(xmlsupport::NodeAt(pAll.get(), i), "version") != nullptr ? 1 : 0;
        }
        nSum += reader.GetAttributeValue(nullptr, "version") != nullptr ? 1 : 0;
    }
    // Whatever the document did, later documents of the process drop blanks.
    xmlsupport::SetKeepBlanksDefault(false);
    vexfuzz::Consume(nSum);
    return 0;
}
