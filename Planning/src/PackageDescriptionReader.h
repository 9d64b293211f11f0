#ifndef VEXDEP_PACKAGEDESCRIPTIONREADER_H
#define VEXDEP_PACKAGEDESCRIPTIONREADER_H

#include "PackageDescription.h"

#include <cstddef>
#include <string>

// Reads what a package says about itself and what it needs from the text of
// its package.xml, with the checker's own package reader: the component
// type, the vendor version, the supported devices, and every dependency
// record exactly as the checker builds them (one per PCI identity, repeats
// collapsed, attributes carried over as the reader carries them). Each
// dependency gets the line of its element, for findings that point into
// package.xml.
//
// The reader reads files from the working directory, so the text is put
// into a file of the given private directory and read there; the working
// directory is restored afterwards.
class CPackageDescriptionReader
{
public:
    explicit CPackageDescriptionReader(const std::string& strWorkDirectory);

    // Fills the identity, devices, dependencies and release directories of
    // description. False, with the reason, when the text is no package
    // description (it does not parse, or has no SoftwareComponent element).
    bool Read(const std::string& strPackageXml, SPackageDescription& description, std::string& strError);

private:
    std::string m_strWorkDirectory;
    std::size_t m_nRead = 0;
};

#endif // VEXDEP_PACKAGEDESCRIPTIONREADER_H
