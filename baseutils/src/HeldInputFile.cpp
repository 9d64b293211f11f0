#include "HeldInputFile.h"

#include "PlatformLayer.h"

CHeldInputFile::CHeldInputFile(const std::string& strPath) { m_nFd = CPlatformLayer::OpenHeldFile(strPath, m_strText); }

CHeldInputFile::~CHeldInputFile() { CPlatformLayer::CloseHeldFile(m_nFd); }
