<SVMInventory>
  <Device componentID="601"><Application componentType="FRMW" version="1"/></Device>
  <Device componentID="602"><Application componentType="FRMW" version="1"/></Device>
  <Device componentID="603"><Application componentType="FRMW" version="1"/></Device>
  <Device componentID="604"><Application componentType="FRMW" version="1"/></Device>
  <Device componentID="605"><Application componentType="FRMW" version="1"/></Device>
  <Device componentID="606"><Application componentType="FRMW" version="1"/></Device>
</SVMInventory>
