<SVMInventory>
  <Device componentID="301"><Application componentType="FRMW" version="1.0"/></Device>
  <Device componentID="302"><Application componentType="FRMW" version="1.0"/></Device>
</SVMInventory>
