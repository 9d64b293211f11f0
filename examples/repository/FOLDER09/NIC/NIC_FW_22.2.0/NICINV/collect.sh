#!/bin/sh
# Inventory collector: writes what is installed into inventory.xml in this directory.
cat > inventory.xml <<'INVENTORY'
<?xml version="1.0" encoding="UTF-8"?>
<SVMInventory>
  <Device vendorID="1A2B" deviceID="1593" subVendorID="1F0C" subDeviceID="0002" display="Network Adapter">
    <Application componentType="FRMW" version="22.0.9" display="Network Adapter Firmware"/>
  </Device>
  <Device componentID="112233" display="Systems Management Agent">
    <Application componentType="APAC" version="10.5.2" display="Systems Management Agent"/>
  </Device>
</SVMInventory>
INVENTORY
