<SVMInventory>
  <Device componentID="501"><Application componentType="FRMW" version="1"/></Device>
  <Device componentID="502"><Application componentType="FRMW" version="1"/></Device>
  <Device componentID="503"><Application componentType="FRMW" version="1"/></Device>
  <Device componentID="504"><Application componentType="FRMW" version="1"/></Device>
  <Device componentID="505"><Application componentType="FRMW" version="1"/></Device>
</SVMInventory>
