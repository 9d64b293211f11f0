<SVMInventory>
  <Device componentID="811"><Application componentType="FRMW" version="1"/></Device>
  <Device componentID="812"><Application componentType="FRMW" version="1"/></Device>
</SVMInventory>
