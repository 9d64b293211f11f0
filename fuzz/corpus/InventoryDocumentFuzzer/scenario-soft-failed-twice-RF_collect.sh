<SVMInventory>
  <SPStatus result="false"><Message>inventory tool crashed</Message></SPStatus>
</SVMInventory>
