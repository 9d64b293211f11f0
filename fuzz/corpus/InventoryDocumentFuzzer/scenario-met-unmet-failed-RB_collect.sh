<SVMInventory>
  <SPStatus result="false"><Message>collector could not reach the device</Message></SPStatus>
</SVMInventory>
