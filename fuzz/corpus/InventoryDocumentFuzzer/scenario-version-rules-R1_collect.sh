<SVMInventory>
  <Device componentID="951"><Application componentType="FRMW" version="a07"/></Device>
  <Device componentID="952"><Application componentType="FRMW" version="10a"/></Device>
  <Device componentID="953"><Application componentType="FRMW" version="1.5"/></Device>
  <Device componentID="953"><Application componentType="FRMW" version="2.5"/></Device>
  <Device componentID="953"><Application componentType="FRMW" version="1.8"/></Device>
</SVMInventory>
