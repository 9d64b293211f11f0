#!/bin/sh
# Inventory collector of the fleet tests (release REL001 collects for the hard
# dependencies; REL002 runs this script too, for the soft one): reports what
# the host's state directory (VEXDEP_FLEET_STATE, set by the host's sshd) says
# is installed. Files in the state directory change what it does:
#   collector-fails       the REL001 inventory fails
#   soft-collector-fails  the REL002 inventory fails
#   collector-hangs       REL001 never ends
#   collector-talks       progress lines on standard output
release="${1:-REL001}"
state="${VEXDEP_FLEET_STATE:-}"
if [ "$release" = REL002 ]; then
  fails="$state/soft-collector-fails"; message="agent service is not running"
else
  fails="$state/collector-fails"; message="backplane controller did not answer"
fi
if [ -n "$state" ] && [ -e "$state/collector-talks" ]; then
  echo "collector $release: reading the enclosure inventory"
fi
if [ "$release" = REL001 ] && [ -n "$state" ] && [ -e "$state/collector-hangs" ]; then
  exec sleep 86400
fi
if [ -z "$state" ] || [ -e "$fails" ] || [ ! -r "$state/inventory.xml" ]; then
  cat > inventory.xml <<INVENTORY
<?xml version="1.0" encoding="UTF-8"?>
<SVMInventory>
  <SPStatus result="false"><Message>$message</Message></SPStatus>
</SVMInventory>
INVENTORY
  exit 0
fi
cp "$state/inventory.xml" inventory.xml
