#include "CollectorOutputCapture.h"

#include "PlatformLayer.h"

CCollectorOutputCapture::CCollectorOutputCapture(bool bOn)
{
    if (bOn)
    {
        std::string strError;
        m_bOn = CPlatformLayer::BeginStreamCapture(strError);
    }
}

CCollectorOutputCapture::~CCollectorOutputCapture() { End(); }

SCollectorOutput CCollectorOutputCapture::Take()
{
    SCollectorOutput output;
    if (m_bOn)
    {
        CPlatformLayer::TakeCapturedStreams(nKeepBytes, output.out, output.err);
    }
    return output;
}

void CCollectorOutputCapture::End()
{
    if (m_bOn)
    {
        CPlatformLayer::EndStreamCapture();
        m_bOn = false;
    }
}
