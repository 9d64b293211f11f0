<SVMInventory>
  <Device componentID="701"><Application componentType="FRMW" version="1"/></Device>
  <Device componentID="702"><Application componentType="FRMW" version="1"/></Device>
  <Device componentID="703"><Application componentType="FRMW" version="1"/></Device>
  <Device componentID="704"><Application componentType="FRMW" version="1"/></Device>
  <Device vendorID="0x8a8a" deviceID="0xFF" subVendorID="1f0c" subDeviceID="2"><Application componentType="FRMW" version="9.0.5"/></Device>
</SVMInventory>
