#include "PlanInventorySource.h"

#include "ReleaseFingerprint.h"

CPlanInventorySource::CPlanInventorySource(const CSimulatedState& state) : m_state(state) {}

CPlanInventorySource::~CPlanInventorySource() = default;

std::vector<CDeviceInfo*> CPlanInventorySource::Copies(const SCachedRun& cached)
{
    std::vector<CDeviceInfo*> vCopies;
    vCopies.reserve(cached.vRecords.size());
    for (const std::unique_ptr<CDeviceInfo>& pRecord : cached.vRecords)
    {
        vCopies.push_back(pRecord ? new CDeviceInfo(*pRecord) : nullptr);
    }
    return vCopies;
}

std::vector<CDeviceInfo*> CPlanInventorySource::Collect(const std::string& strComponentPath,
                                                        const CCollectorTimeLimit& limit, SCollectorRun& run)
{
    SCollectorUse use;
    use.strComponentPath = strComponentPath;
    // A directory is fingerprinted as it was before its collector first
    // ran (what the collector writes there is no part of it).
    const auto itKnown = m_mapFingerprints.find(strComponentPath);
    if (itKnown != m_mapFingerprints.end())
    {
        use.strFingerprint = itKnown->second;
    }
    else
    {
        std::string strError;
        if (!CReleaseFingerprint::Of(strComponentPath, use.strFingerprint, strError))
        {
            use.strFingerprint.clear();
        }
        m_mapFingerprints[strComponentPath] = use.strFingerprint;
    }

    SCachedRun* pCached = nullptr;
    if (!use.strFingerprint.empty())
    {
        const auto it = m_mapRuns.find(use.strFingerprint);
        if (it != m_mapRuns.end())
        {
            pCached = &it->second;
            use.bReused = true;
        }
    }
    if (pCached == nullptr)
    {
        SCachedRun fresh;
        for (CDeviceInfo* pRecord : m_collectors.Collect(strComponentPath, limit, fresh.run))
        {
            fresh.vRecords.emplace_back(pRecord);
        }
        fresh.strRanIn = strComponentPath;
        m_nRuns += fresh.run.bStarted ? 1 : 0;
        if (use.strFingerprint.empty())
        {
            m_vUnfingerprinted.push_back(std::move(fresh));
            pCached = &m_vUnfingerprinted.back();
        }
        else
        {
            pCached = &m_mapRuns.emplace(use.strFingerprint, std::move(fresh)).first->second;
        }
    }
    run = pCached->run;
    use.strRanIn = pCached->strRanIn;
    use.nRecords = pCached->vRecords.size();
    m_vUses.push_back(use);

    std::vector<CDeviceInfo*> vRecords = Copies(*pCached);
    m_state.Apply(vRecords);
    return vRecords;
}

std::vector<std::unique_ptr<CDeviceInfo>> CPlanInventorySource::KnownInstances() const
{
    std::vector<std::unique_ptr<CDeviceInfo>> vKnown;
    auto add = [&](const SCachedRun& cached) {
        std::vector<CDeviceInfo*> vCopies = Copies(cached);
        m_state.Apply(vCopies);
        for (CDeviceInfo* pRecord : vCopies)
        {
            vKnown.emplace_back(pRecord);
        }
    };
    for (const auto& entry : m_mapRuns)
    {
        add(entry.second);
    }
    for (const SCachedRun& cached : m_vUnfingerprinted)
    {
        add(cached);
    }
    return vKnown;
}
