<SVMInventory>
  <Device componentID="103"><Application componentType="FRMW" version="1.5.0"/></Device>
</SVMInventory>
