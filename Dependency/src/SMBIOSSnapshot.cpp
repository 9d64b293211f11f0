#include "SMBIOSSnapshot.h"

CSMBIOSSnapshot::CSMBIOSSnapshot(const SMBIOSSources& sources) : m_sources(sources) {}

CSMBIOSSnapshot::~CSMBIOSSnapshot()
{
    // Its release was written at the end of every turn already.
    CLogSilencer silencer;
    m_pInventory.reset();
}

bool CSMBIOSSnapshot::BeginTurn()
{
    if (!m_pInventory)
    {
        CLogRecorder recorder;
        CLogSilencer silencer;
        m_pInventory.reset(new CSMBIOSInventory(m_sources));
        m_bTablesRead = m_pInventory->Initialize() != 0;
        m_vAcquisitionLog = recorder.Records();
    }
    CLogger::GetInstance()->Replay(m_vAcquisitionLog);
    return m_bTablesRead;
}

std::string CSMBIOSSnapshot::SystemID()
{
    if (!m_bSystemIDKnown)
    {
        CLogRecorder recorder;
        CLogSilencer silencer;
        m_strSystemID = m_pInventory->GetSystemID();
        m_vSystemIDLog = recorder.Records();
        m_bSystemIDKnown = true;
    }
    CLogger::GetInstance()->Replay(m_vSystemIDLog);
    return m_strSystemID;
}

void CSMBIOSSnapshot::EndTurn()
{
    if (!m_bReleaseKnown)
    {
        // What releasing a turn's reader writes: a reader in the same state
        // releases its tables while the lines are learnt.
        CLogSilencer silencer;
        CSMBIOSInventory probe(m_sources);
        probe.Initialize();
        CLogRecorder recorder;
        probe.FreeRawBIOSTable();
        m_vReleaseLog = recorder.Records();
        m_bReleaseKnown = true;
    }
    CLogger::GetInstance()->Replay(m_vReleaseLog);
}
