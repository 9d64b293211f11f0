<SVMInventory>
  <Device componentID="901"><Application componentType="FRMW" version="1"/></Device>
  <Device componentID="902"><Application componentType="FRMW" version="2"/></Device>
  <Device componentID="903"><Application componentType="FRMW" version="2.9"/></Device>
</SVMInventory>
