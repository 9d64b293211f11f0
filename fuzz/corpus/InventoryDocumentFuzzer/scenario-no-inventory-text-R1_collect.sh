<SVMInventory>
  <Device componentID="401"><Application componentType="FRMW" version="1.0"/></Device>
</SVMInventory>
