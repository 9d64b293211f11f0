<SVMInventory>
  <Device componentID="101"><Application componentType="FRMW" version="1.9"/></Device>
  <Device componentID="104"><Application componentType="DRVR" version="3.0.9"/></Device>
</SVMInventory>
