#include "Catalog.h"

#include "RecordJson.h"

const char* const CCatalog::pszFileName = "catalog.json";
const std::size_t CCatalog::nMaxBytes = std::size_t{256} * 1024 * 1024;
const std::size_t CCatalog::nMaxDepth = 16;

namespace
{
using Json = nlohmann::json;
using OrderedJson = nlohmann::ordered_json;

// The deepest nesting of arrays and objects in a JSON text (strings
// skipped), so that a hostile catalog is refused before it is parsed.
std::size_t NestingDepth(const std::string& strText)
{
    std::size_t nDepth = 0;
    std::size_t nDeepest = 0;
    bool bInString = false;
    for (std::size_t i = 0; i < strText.size(); ++i)
    {
        const char c = strText[i];
        if (bInString)
        {
            if (c == '\\')
            {
                ++i;
            }
            else if (c == '"')
            {
                bInString = false;
            }
            continue;
        }
        if (c == '"')
        {
            bInString = true;
        }
        else if (c == '[' || c == '{')
        {
            nDeepest = std::max(nDeepest, ++nDepth);
        }
        else if ((c == ']' || c == '}') && nDepth > 0)
        {
            --nDepth;
        }
    }
    return nDeepest;
}

// Reads the fields of one entry; every accessor throws nothing and records
// the first field that is missing or of the wrong type.
class CFieldReader
{
public:
    explicit CFieldReader(const Json& object) : m_object(object) {}

    bool Ok() const { return m_strProblem.empty(); }
    const std::string& Problem() const { return m_strProblem; }

    std::string Text(const char* pszKey)
    {
        const Json* pValue = Find(pszKey);
        if (pValue == nullptr)
        {
            return std::string();
        }
        if (!pValue->is_string())
        {
            Fail(pszKey, "is not a text");
            return std::string();
        }
        return pValue->get<std::string>();
    }
    int64_t Integer(const char* pszKey)
    {
        const Json* pValue = Find(pszKey);
        if (pValue == nullptr)
        {
            return 0;
        }
        if (!pValue->is_number_integer())
        {
            Fail(pszKey, "is not a whole number");
            return 0;
        }
        return pValue->get<int64_t>();
    }
    const Json* Array(const char* pszKey)
    {
        const Json* pValue = Find(pszKey);
        if (pValue != nullptr && !pValue->is_array())
        {
            Fail(pszKey, "is not a list");
            return nullptr;
        }
        return pValue;
    }
    const Json* ObjectOrNull(const char* pszKey)
    {
        const Json* pValue = Find(pszKey);
        if (pValue == nullptr || pValue->is_null())
        {
            return nullptr;
        }
        if (!pValue->is_object())
        {
            Fail(pszKey, "is not an object");
            return nullptr;
        }
        return pValue;
    }
    void Fail(const std::string& strKey, const std::string& strWhat)
    {
        if (m_strProblem.empty())
        {
            m_strProblem = "\"" + strKey + "\" " + strWhat;
        }
    }

private:
    const Json* Find(const char* pszKey)
    {
        const auto it = m_object.find(pszKey);
        if (it == m_object.end())
        {
            Fail(pszKey, "is missing");
            return nullptr;
        }
        return &*it;
    }

    const Json& m_object;
    std::string m_strProblem;
};

bool ReadPCI(const Json& object, SPCIInfo& pci, std::string& strProblem)
{
    if (!object.is_object())
    {
        strProblem = "a PCI identity is not an object";
        return false;
    }
    CFieldReader fields(object);
    pci.strVendorID = fields.Text("vendorID");
    pci.strDeviceID = fields.Text("deviceID");
    pci.strSubVendorID = fields.Text("subVendorID");
    pci.strSubDeviceID = fields.Text("subDeviceID");
    strProblem = fields.Problem();
    return fields.Ok();
}

bool ReadDependency(const Json& object, SDeclaredDependency& dependency, std::string& strProblem)
{
    if (!object.is_object())
    {
        strProblem = "a dependency is not an object";
        return false;
    }
    CFieldReader fields(object);
    const std::string strType = fields.Text("type");
    if (fields.Ok() && strType != "hard" && strType != "soft")
    {
        fields.Fail("type", "is neither hard nor soft");
    }
    dependency.eType = strType == "soft" ? CDeviceInfo::eDependencyTypeSoft : CDeviceInfo::eDependencyTypeHard;
    dependency.strDisplay = fields.Text("display");
    dependency.strComponentID = fields.Text("componentID");
    dependency.strComponentType = fields.Text("componentType");
    const std::string strDeviceType = fields.Text("deviceType");
    if (fields.Ok() && strDeviceType != "pci" && strDeviceType != "non-pci")
    {
        fields.Fail("deviceType", "is neither pci nor non-pci");
    }
    dependency.eDeviceType = strDeviceType == "pci" ? CDeviceInfo::eDeviceTypePCI : CDeviceInfo::eDeviceTypeNonPCI;
    if (const Json* pPCI = fields.ObjectOrNull("pci"))
    {
        std::string strPCIProblem;
        if (!ReadPCI(*pPCI, dependency.pci, strPCIProblem))
        {
            fields.Fail("pci", strPCIProblem);
        }
    }
    dependency.strVersion = fields.Text("version");
    dependency.strPath = fields.Text("path");
    dependency.strReleaseID = fields.Text("releaseID");
    dependency.strContext = fields.Text("context");
    if (const Json* pPlatforms = fields.Array("platforms"))
    {
        for (const Json& platform : *pPlatforms)
        {
            if (!platform.is_string())
            {
                fields.Fail("platforms", "holds something that is not a text");
                break;
            }
            dependency.vPlatforms.push_back(platform.get<std::string>());
        }
    }
    if (const Json* pSystems = fields.Array("operatingSystems"))
    {
        for (const Json& system : *pSystems)
        {
            if (!system.is_object())
            {
                fields.Fail("operatingSystems", "holds something that is not an object");
                break;
            }
            CFieldReader os(system);
            SOSInfo info;
            info.strOSVendor = os.Text("osVendor");
            info.strOSArch = os.Text("osArch");
            info.strMajorVersion = os.Text("majorVersion");
            info.strMinorVersion = os.Text("minorVersion");
            info.strSPMajorVersion = os.Text("spMajorVersion");
            info.strSPMinorVersion = os.Text("spMinorVersion");
            if (!os.Ok())
            {
                fields.Fail("operatingSystems", os.Problem());
                break;
            }
            dependency.vOperatingSystems.push_back(info);
        }
    }
    dependency.nLine = static_cast<long>(fields.Integer("line"));
    strProblem = fields.Problem();
    return fields.Ok();
}

bool ReadPackage(const Json& object, SPackageDescription& package, std::string& strProblem)
{
    CFieldReader fields(object);
    package.strPath = fields.Text("path");
    const std::string strFormat = fields.Text("format");
    if (fields.Ok() && !SPackageDescription::FormatFromName(strFormat, package.eFormat))
    {
        fields.Fail("format", "is not directory, tar, tar+gzip or tar+xz");
    }
    const int64_t nSize = fields.Integer("size");
    if (nSize < 0)
    {
        fields.Fail("size", "is negative");
    }
    package.nSize = static_cast<uint64_t>(nSize);
    package.nModifiedNs = fields.Integer("modifiedNs");
    package.strStamp = fields.Text("stamp");
    package.strDigest = fields.Text("digest");
    package.strPackageID = fields.Text("packageID");
    package.strDisplay = fields.Text("display");
    package.strComponentType = fields.Text("componentType");
    package.strVersion = fields.Text("version");
    if (const Json* pDevices = fields.Array("devices"))
    {
        for (const Json& device : *pDevices)
        {
            if (!device.is_object())
            {
                fields.Fail("devices", "holds something that is not an object");
                break;
            }
            CFieldReader deviceFields(device);
            SSupportedDevice supported;
            supported.strComponentID = deviceFields.Text("componentID");
            supported.strDisplay = deviceFields.Text("display");
            if (const Json* pPCI = deviceFields.Array("pci"))
            {
                for (const Json& entry : *pPCI)
                {
                    SPCIInfo pci;
                    std::string strPCIProblem;
                    if (!ReadPCI(entry, pci, strPCIProblem))
                    {
                        deviceFields.Fail("pci", strPCIProblem);
                        break;
                    }
                    pci.strComponentID = supported.strComponentID;
                    supported.vPCI.push_back(pci);
                }
            }
            if (!deviceFields.Ok())
            {
                fields.Fail("devices", deviceFields.Problem());
                break;
            }
            package.vDevices.push_back(supported);
        }
    }
    if (const Json* pReleases = fields.Array("releaseDirectories"))
    {
        for (const Json& release : *pReleases)
        {
            if (!release.is_string())
            {
                fields.Fail("releaseDirectories", "holds something that is not a text");
                break;
            }
            package.vReleaseDirectories.push_back(release.get<std::string>());
        }
    }
    if (const Json* pDependencies = fields.Array("dependencies"))
    {
        for (const Json& entry : *pDependencies)
        {
            SDeclaredDependency dependency;
            std::string strDependencyProblem;
            if (!ReadDependency(entry, dependency, strDependencyProblem))
            {
                fields.Fail("dependencies", strDependencyProblem);
                break;
            }
            package.vDependencies.push_back(dependency);
        }
    }
    if (fields.Ok() && package.strPath.empty())
    {
        fields.Fail("path", "is empty");
    }
    strProblem = fields.Problem();
    return fields.Ok();
}

} // namespace

OrderedJson CCatalog::DependencyJson(const SDeclaredDependency& dependency)
{
    OrderedJson json;
    json["type"] = dependency.eType == CDeviceInfo::eDependencyTypeSoft ? "soft" : "hard";
    json["display"] = dependency.strDisplay;
    json["componentID"] = dependency.strComponentID;
    json["componentType"] = dependency.strComponentType;
    json["deviceType"] = dependency.eDeviceType == CDeviceInfo::eDeviceTypePCI ? "pci" : "non-pci";
    json["pci"] = dependency.eDeviceType == CDeviceInfo::eDeviceTypePCI ? recordjson::PCIJson(dependency.pci)
                                                                        : OrderedJson();
    json["version"] = dependency.strVersion;
    json["path"] = dependency.strPath;
    json["releaseID"] = dependency.strReleaseID;
    json["context"] = dependency.strContext;
    json["platforms"] = dependency.vPlatforms;
    json["operatingSystems"] = OrderedJson::array();
    for (const SOSInfo& os : dependency.vOperatingSystems)
    {
        json["operatingSystems"].push_back(recordjson::OSJson(os));
    }
    json["line"] = dependency.nLine;
    return json;
}

OrderedJson CCatalog::PackageJson(const SPackageDescription& package)
{
    OrderedJson json;
    json["path"] = package.strPath;
    json["format"] = SPackageDescription::FormatName(package.eFormat);
    json["size"] = package.nSize;
    json["modifiedNs"] = package.nModifiedNs;
    json["stamp"] = package.strStamp;
    json["digest"] = package.strDigest;
    json["packageID"] = package.strPackageID;
    json["display"] = package.strDisplay;
    json["componentType"] = package.strComponentType;
    json["version"] = package.strVersion;
    json["devices"] = OrderedJson::array();
    for (const SSupportedDevice& device : package.vDevices)
    {
        OrderedJson entry;
        entry["componentID"] = device.strComponentID;
        entry["display"] = device.strDisplay;
        entry["pci"] = OrderedJson::array();
        for (const SPCIInfo& pci : device.vPCI)
        {
            entry["pci"].push_back(recordjson::PCIJson(pci));
        }
        json["devices"].push_back(entry);
    }
    json["releaseDirectories"] = package.vReleaseDirectories;
    json["dependencies"] = OrderedJson::array();
    for (const SDeclaredDependency& dependency : package.vDependencies)
    {
        json["dependencies"].push_back(DependencyJson(dependency));
    }
    return json;
}

OrderedJson CCatalog::ToJson(const SCatalog& catalog)
{
    OrderedJson json;
    json["schemaVersion"] = nSchemaVersion;
    json["kind"] = "vexinspect-catalog";
    json["repository"] = catalog.strRepository;
    json["packages"] = OrderedJson::array();
    for (const SPackageDescription& package : catalog.vPackages)
    {
        json["packages"].push_back(PackageJson(package));
    }
    json["refused"] = OrderedJson::array();
    for (const SRefusedPackage& refused : catalog.vRefused)
    {
        OrderedJson entry;
        entry["path"] = refused.strPath;
        entry["reason"] = refused.strReason;
        json["refused"].push_back(entry);
    }
    return json;
}

std::string CCatalog::ToText(const SCatalog& catalog)
{
    return ToJson(catalog).dump(1, ' ', false, OrderedJson::error_handler_t::replace) + "\n";
}

bool CCatalog::Parse(const std::string& strText, SCatalog& catalog, std::string& strError)
{
    catalog = SCatalog();
    if (strText.size() > nMaxBytes)
    {
        strError = "larger than " + std::to_string(nMaxBytes) + " bytes";
        return false;
    }
    if (NestingDepth(strText) > nMaxDepth)
    {
        strError = "nested deeper than " + std::to_string(nMaxDepth) + " levels: not a catalog";
        return false;
    }
    const Json document = Json::parse(strText, nullptr, false);
    if (document.is_discarded())
    {
        strError = "not JSON";
        return false;
    }
    if (!document.is_object())
    {
        strError = "not a JSON object";
        return false;
    }
    CFieldReader fields(document);
    const int64_t nVersion = fields.Integer("schemaVersion");
    if (!fields.Ok() || nVersion != nSchemaVersion)
    {
        strError = fields.Ok()
                       ? "schema version " + std::to_string(nVersion) + ", not " + std::to_string(nSchemaVersion)
                       : fields.Problem();
        return false;
    }
    if (fields.Text("kind") != "vexinspect-catalog")
    {
        strError = fields.Ok() ? "\"kind\" is not vexinspect-catalog" : fields.Problem();
        return false;
    }
    catalog.strRepository = fields.Text("repository");
    const Json* pPackages = fields.Array("packages");
    if (pPackages == nullptr)
    {
        strError = fields.Problem();
        return false;
    }
    for (const Json& entry : *pPackages)
    {
        SPackageDescription package;
        std::string strProblem;
        if (!entry.is_object())
        {
            catalog.vMalformedEntries.push_back(SRefusedPackage{"", "an entry is not an object"});
            continue;
        }
        if (!ReadPackage(entry, package, strProblem))
        {
            catalog.vMalformedEntries.push_back(SRefusedPackage{package.strPath, strProblem});
            continue;
        }
        catalog.vPackages.push_back(package);
    }
    if (const auto it = document.find("refused"); it != document.end() && it->is_array())
    {
        for (const Json& entry : *it)
        {
            if (entry.is_object())
            {
                CFieldReader refused(entry);
                SRefusedPackage package{refused.Text("path"), refused.Text("reason")};
                if (refused.Ok())
                {
                    catalog.vRefused.push_back(package);
                }
            }
        }
    }
    return true;
}
