#!/bin/sh
# The soft dependency's inventory: the fleet tests' collector for release REL002.
exec /bin/sh ../REL001/collect.sh REL002
