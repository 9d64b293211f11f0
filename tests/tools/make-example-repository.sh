#!/bin/sh
# Writes examples/repository: the small repository of update packages that
# docs/planning.md and the README plan the sample package against. The
# archives are made reproducibly (sorted members, fixed owner and time), so
# running this again gives the same bytes.
#
#   tests/tools/make-example-repository.sh [DIRECTORY]
set -eu
root=$(cd "$(dirname "$0")/../.." && pwd)
out=${1:-$root/examples/repository}
work=$(mktemp -d "${TMPDIR:-/tmp}/vexdep-example-XXXXXX")
trap 'rm -rf "$work"' EXIT

pieconfig() { # pieconfig FILE
  cat > "$1" <<'XML'
<?xml version="1.0" encoding="UTF-8"?>
<PIEConfig>
  <Plugins>
    <Plugin description="Inventory" type="0" timeout="60">
      <CliToFile>
        <Command>collect.sh</Command>
        <Output>inventory.xml</Output>
      </CliToFile>
    </Plugin>
  </Plugins>
</PIEConfig>
XML
}

# collector FILE DEVICES: a collector that reports the given Device elements.
collector() {
  {
    echo '#!/bin/sh'
    echo '# Inventory collector: writes what is installed into inventory.xml in this directory.'
    echo "cat > inventory.xml <<'INVENTORY'"
    echo '<?xml version="1.0" encoding="UTF-8"?>'
    echo '<SVMInventory>'
    printf '%s\n' "$2"
    echo '</SVMInventory>'
    echo 'INVENTORY'
  } > "$1"
  chmod 755 "$1"
}

backplane_devices='  <Device componentID="104500" display="Storage Backplane">
    <Application componentType="FRMW" version="3.10.0" display="Storage Backplane Firmware"/>
  </Device>
  <Device componentID="104600" display="Enclosure Processor">
    <Application componentType="FRMW" version="2.4.1" display="Enclosure Processor Firmware"/>
  </Device>'
nic_devices='  <Device vendorID="1A2B" deviceID="1593" subVendorID="1F0C" subDeviceID="0002" display="Network Adapter">
    <Application componentType="FRMW" version="22.0.9" display="Network Adapter Firmware"/>
  </Device>
  <Device componentID="112233" display="Systems Management Agent">
    <Application componentType="APAC" version="10.5.2" display="Systems Management Agent"/>
  </Device>'

# package DIR ID TYPE VERSION NAME DEVICE DEPENDENCIES [RELEASE DEVICES]
package() {
  mkdir -p "$1"
  cat > "$1/package.xml" <<XML
<?xml version="1.0" encoding="UTF-8"?>
<SoftwareComponent schemaVersion="2.0" packageID="$2" vendorVersion="$4">
  <Name>
    <Display lang="en">$5</Display>
  </Name>
  <ComponentType value="$3">
    <Display lang="en">$3</Display>
  </ComponentType>
  <SupportedDevices>
$6
$7
    </Device>
  </SupportedDevices>
</SoftwareComponent>
XML
  printf 'payload of %s %s\n' "$5" "$4" > "$1/payload.bin"
  if [ $# -ge 9 ]; then
    mkdir -p "$1/$8"
    pieconfig "$1/$8/PIEConfig.xml"
    collector "$1/$8/collect.sh" "$9"
  fi
}

archive() { # archive SOURCE TARGET COMPRESSOR
  mkdir -p "$(dirname "$2")"
  (cd "$1" && find . -mindepth 1 -print0 | LC_ALL=C sort -z |
     tar --null --no-recursion -T - --owner=0 --group=0 --numeric-owner --mtime=2026-11-01T00:00:00Z -cf -) |
    $3 > "$2"
}

rm -rf "$out"
mkdir -p "$out"

# The backplane firmware 3.20.0 must find the backplane at 3.15.0 or later:
# an intermediate version first.
package "$work/bp320" BP320 FRMW 3.20.0 "Storage Backplane Firmware" \
  '    <Device componentID="104500">
      <Display lang="en">Storage Backplane</Display>' \
  '      <Dependency componentID="104500" componentType="FRMW" version="3.15.0"
                  path="FOLDER04\BACKPLANE\BP_FW_3.15.0.BIN" releaseID="BPINV">
        <Display>Storage Backplane Firmware (intermediate)</Display>
        <Detail>3.20.0 can be flashed only over 3.15.0 or later.</Detail>
      </Dependency>' BPINV "$backplane_devices"
archive "$work/bp320" "$out/FOLDER04/BACKPLANE/BP_FW_3.20.0.BIN" "gzip -n -9"

package "$work/bp315" BP315 FRMW 3.15.0 "Storage Backplane Firmware" \
  '    <Device componentID="104500">
      <Display lang="en">Storage Backplane</Display>' \
  '      <Dependency componentID="104600" componentType="FRMW" version="2.3"
                  path="FOLDER04\SEP\SEP_2.3.BIN" releaseID="BPINV">
        <Display>Enclosure Processor Firmware</Display>
      </Dependency>' BPINV "$backplane_devices"
archive "$work/bp315" "$out/FOLDER04/BACKPLANE/BP_FW_3.15.0.BIN" cat

package "$work/sep" SEP23 FRMW 2.3 "Enclosure Processor Firmware" \
  '    <Device componentID="104600">
      <Display lang="en">Enclosure Processor</Display>' ''
archive "$work/sep" "$out/FOLDER04/SEP/SEP_2.3.BIN" "gzip -n -9"

# The network adapter firmware the sample names (22.1.4) is not in the
# repository: 22.2.0 stands in; 22.1.0 is too old; 23.0.0 is for another
# adapter model.
package "$out/FOLDER09/NIC/NIC_FW_22.2.0" NIC2220 FRMW 22.2.0 "Network Adapter Firmware" \
  '    <Device componentID="110204">
      <Display lang="en">Network Adapter</Display>
      <PCIInfo vendorID="1A2B" deviceID="1593" subVendorID="1F0C" subDeviceID="0002"/>' \
  '      <Dependency componentID="112233" componentType="APAC" version="11.0.0"
                  path="FOLDER11\AGENT\mgmt-agent-11.0.0.tar.gz" releaseID="NICINV">
        <Display>Systems Management Agent</Display>
        <Detail>The adapter reports its sideband link through agent 11.</Detail>
      </Dependency>' NICINV "$nic_devices"
package "$out/FOLDER09/NIC/NIC_FW_22.1.0" NIC2210 FRMW 22.1.0 "Network Adapter Firmware" \
  '    <Device componentID="110204">
      <Display lang="en">Network Adapter</Display>
      <PCIInfo vendorID="1A2B" deviceID="1593" subVendorID="1F0C" subDeviceID="0002"/>' ''
package "$work/nic2300" NIC2300 FRMW 23.0.0 "Network Adapter Firmware" \
  '    <Device componentID="110204">
      <Display lang="en">Network Adapter (second model)</Display>
      <PCIInfo vendorID="1A2B" deviceID="1594" subVendorID="1F0C" subDeviceID="0002"/>' ''
archive "$work/nic2300" "$out/FOLDER09/NIC/NIC_FW_23.0.0.BIN" "xz -9"

package "$work/agent" AGENT11 APAC 11.0.0 "Systems Management Agent" \
  '    <Device componentID="112233">
      <Display lang="en">Systems Management Agent</Display>' ''
archive "$work/agent" "$out/FOLDER11/AGENT/mgmt-agent-11.0.0.tar.gz" "gzip -n -9"

package "$work/driver" DRV742 DRVR 7.4.2 "Storage Controller Driver" \
  '    <Device componentID="108899">
      <Display lang="en">Storage Controller Driver</Display>' ''
archive "$work/driver" "$out/FOLDER07/DRIVER/storage-driver-7.4.2.tar.gz" "gzip -n -9"

# Directories and files keep the same times on every run.
find "$out" -exec touch -h -d 2026-11-01T00:00:00Z {} +
echo "wrote $out"
