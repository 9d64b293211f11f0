<SVMInventory>
  <Device componentID="801"><Application componentType="FRMW" version="1"/></Device>
  <Device componentID="802"><Application componentType="FRMW" version="1"/></Device>
  <Device componentID="803"><Application componentType="FRMW" version="1"/></Device>
</SVMInventory>
