#!/bin/sh
# ansible-test sanity and ansible-lint on the vexdep.fleet collection.
# ansible-test wants the collection below a path that ends in
# ansible_collections/vexdep/fleet and a git-free copy of it, so it runs on a
# copy in a temporary directory. Runs the sanity tests whose requirements
# Debian's packages provide, locally with the system's Python 3.
set -eu
here=$(cd "$(dirname "$0")/.." && pwd)
collection="$here/ansible_collections/vexdep/fleet"
python=$(/usr/bin/python3 -c 'import sys; print("%d.%d" % sys.version_info[:2])')
work=$(mktemp -d "${TMPDIR:-/tmp}/vexdep-sanity-XXXXXX")
trap 'rm -rf "$work"' EXIT
mkdir -p "$work/ansible_collections/vexdep"
cp -R "$collection" "$work/ansible_collections/vexdep/fleet"
rm -rf "$work/ansible_collections/vexdep/fleet/tests/output"
find "$work" -name __pycache__ -prune -exec rm -rf {} +

status=0
if command -v ansible-test >/dev/null 2>&1; then
  # The tests left out install pinned requirements into a virtual environment
  # with pip from the network (ansible-doc, import, pep8, pylint,
  # runtime-metadata, validate-modules, yamllint); ansible-doc runs directly
  # below and ansible-lint runs yamllint. Every other test runs, with the
  # installed Python (--local).
  (cd "$work/ansible_collections/vexdep/fleet" && git init -q . && \
   ANSIBLE_COLLECTIONS_PATH="$work" ansible-test sanity --local --python "$python" --color no \
     --skip-test ansible-doc --skip-test import --skip-test pep8 --skip-test pylint \
     --skip-test runtime-metadata --skip-test validate-modules --skip-test yamllint) || status=1
  # ansible-doc shows complete documentation for every module and the role.
  for module in vexdep_check vexdep_plan vexdep_smbios; do
    ANSIBLE_COLLECTIONS_PATH="$work" ansible-doc "vexdep.fleet.$module" >/dev/null || status=1
  done
  ANSIBLE_COLLECTIONS_PATH="$work" ansible-doc -t role vexdep.fleet.preflight >/dev/null || status=1
else
  echo "ansible-test is not installed: sanity skipped"
fi
if command -v ansible-lint >/dev/null 2>&1; then
  (cd "$work/ansible_collections/vexdep/fleet" && \
   ANSIBLE_COLLECTIONS_PATH="$work" ansible-lint --offline -p roles/preflight playbooks/preflight.yml) || status=1
else
  echo "ansible-lint is not installed: lint skipped"
fi
exit $status
