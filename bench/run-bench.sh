#!/bin/bash
# make bench: builds in release mode, generates synthetic packages and
# measures, side by side in one run, the median of several runs of
#   1. vexdepcheck hard (wall time, peak resident memory),
#   2. the baseline: the same collectors run one after another by a shell
#      loop, then xmllint --noout of package.xml, inv.xml and every
#      collector output,
#   3. vexdepcheck hard with the debug log on,
# and checks the bounds the checker must keep.
#
# Then the portable checker's size and its start-up against the release
# build on the sample package.
#
# Then plans over a repository: generated repositories of BENCH_REPO_SIZES
# packages in chains of depth 6 (vexbench repository): vexinspect repo index
# cold (no catalog) and warm (the catalog of an unchanged repository), repo
# check, and plan for the package at the top of a depth-6 chain, with the
# catalog and without, against the collectors that plan runs (baseline.sh),
# with the bounds: plan time beyond the collectors' at most 1 s and peak
# memory at most 200 MiB at 2,000 packages, warm index under 0.5 s, and
# time growing linearly with the number of packages.
#
# Settings (environment): BENCH_SIZES (default "1000 10000 50000"),
# BENCH_RUNS (default 5), BENCH_RELEASES (100), BENCH_DEVICES (100),
# BENCH_BUILD_DIR (build-release), PORTABLE_RUNS (20), BENCH_REPO_SIZES
# ("500 1000 2000").
set -euo pipefail

root=$(cd "$(dirname "$0")/.." && pwd)
build=${BENCH_BUILD_DIR:-$root/build-release}
sizes=${BENCH_SIZES:-"1000 10000 50000"}
runs=${BENCH_RUNS:-5}
releases=${BENCH_RELEASES:-100}
devices=${BENCH_DEVICES:-100}

cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=Release -DVEXDEP_BUILD_TESTS=OFF > /dev/null
cmake --build "$build" -j2 --target vexdepcheck vexinspect vexbench > /dev/null
checker=$build/bin/vexdepcheck
inspect=$build/bin/vexinspect
vexbench=$build/bin/vexbench

work=$(mktemp -d "${TMPDIR:-/tmp}/vexdep-bench-XXXXXX")
trap 'rm -rf "$work"' EXIT

measure() { # measure RUNS DIR COMMAND... -> "wall rss cpu"
  local n=$1 dir=$2
  shift 2
  "$vexbench" measure --runs "$n" --cwd "$dir" -- "$@"
}

echo "vexdepcheck hard against its baseline; medians of $runs runs; R=$releases release directories"
echo "of D=$devices devices each, M=N devices in inv.xml; $(nproc) processors"
echo
printf '| %6s | %9s | %9s | %9s | %6s | %9s | %9s | %6s | %8s | %9s | %6s |\n' \
  N "check s" "base s" "xmllint s" ratio "check MiB" "xmllint" "RSS x" "us/dep" "log s" "log x"
printf '|%s|\n' "--------|-----------|-----------|-----------|--------|-----------|-----------|--------|----------|-----------|--------"

declare -A per_dependency
failures=0
for n in $sizes; do
  dir=$work/n$n
  "$vexbench" generate --out "$dir" -n "$n" -r "$releases" -d "$devices" -m "$n"
  outputs=$(cd "$dir" && echo REL*/prepared.xml | sed 's/prepared\.xml/inventory.xml/g')
  # One untimed run of each, so that every collector output exists and the
  # file cache is warm for all of them.
  measure 1 "$dir" "$checker" hard > /dev/null
  read -r check_s check_kib _ < <(measure "$runs" "$dir" "$checker" hard)
  read -r base_s _ _ < <(measure "$runs" "$dir" sh baseline.sh)
  # shellcheck disable=SC2086
  read -r xml_s xml_kib _ < <(measure "$runs" "$dir" xmllint --noout package.xml inv.xml $outputs)
  : > "$dir/vexdebuglog"
  read -r log_s _ _ < <(measure "$runs" "$dir" "$checker" hard)
  rm -f "$dir/vexdebuglog" "$dir/baseutils.log"

  ratio=$(echo "$check_s $base_s" | awk '{ printf "%.2f", $1 / $2 }')
  rss_ratio=$(echo "$check_kib $xml_kib" | awk '{ printf "%.2f", $1 / $2 }')
  log_ratio=$(echo "$log_s $check_s" | awk '{ printf "%.2f", $1 / $2 }')
  us=$(echo "$check_s $n" | awk '{ printf "%.1f", $1 * 1e6 / $2 }')
  per_dependency[$n]=$us
  printf '| %6s | %9.3f | %9.3f | %9.3f | %6s | %9.1f | %9.1f | %6s | %8s | %9.3f | %6s |\n' \
    "$n" "$check_s" "$base_s" "$xml_s" "$ratio" "$(echo "$check_kib" | awk '{ print $1 / 1024 }')" \
    "$(echo "$xml_kib" | awk '{ print $1 / 1024 }')" "$rss_ratio" "$us" "$log_s" "$log_ratio"

  if [ "$n" -ge 10000 ]; then
    awk -v r="$ratio" 'BEGIN { exit !(r <= 3) }' || { echo "bound: ratio to the baseline $ratio > 3 at N=$n"; failures=$((failures + 1)); }
  fi
  if [ "$n" -eq 50000 ]; then
    awk -v r="$rss_ratio" 'BEGIN { exit !(r <= 4) }' || { echo "bound: memory $rss_ratio x xmllint > 4 at N=$n"; failures=$((failures + 1)); }
  fi
  awk -v r="$log_ratio" 'BEGIN { exit !(r <= 3) }' || { echo "bound: debug log run $log_ratio x > 3 at N=$n"; failures=$((failures + 1)); }
done

if [ -n "${per_dependency[10000]:-}" ] && [ -n "${per_dependency[50000]:-}" ]; then
  growth=$(echo "${per_dependency[50000]} ${per_dependency[10000]}" | awk '{ printf "%.2f", $1 / $2 }')
  echo
  echo "time per dependency at N=50000 / at N=10000: $growth (bound 1.3)"
  awk -v r="$growth" 'BEGIN { exit !(r <= 1.3) }' || { echo "bound: time per dependency grows $growth > 1.3"; failures=$((failures + 1)); }
fi

# The portable checker (make portable) against the release build on the
# sample package: size, and the median of PORTABLE_RUNS runs of each, the
# two alternating in one loop.
portable=${BENCH_PORTABLE:-$root/build-portable/bin/vexdepcheck}
portable_runs=${PORTABLE_RUNS:-20}
make -C "$root" --no-print-directory portable > "$work/portable.log" 2>&1 || { cat "$work/portable.log"; exit 1; }
sample=$work/sample
cp -R "$root/examples/package" "$sample"
"$checker" hard > /dev/null || true
read -r ordinary_s _ _ < <(measure "$portable_runs" "$sample" "$checker" hard)
read -r portable_s _ _ < <(measure "$portable_runs" "$sample" "$portable" hard)
read -r ordinary_s2 _ _ < <(measure "$portable_runs" "$sample" "$checker" hard)
ordinary_s=$(echo "$ordinary_s $ordinary_s2" | awk '{ printf "%.6f", ($1 + $2) / 2 }')
echo
echo "Portable checker: $(stat -c %s "$portable") bytes (release build: $(stat -c %s "$checker") bytes, plus its shared libraries)"
printf 'Sample package, vexdepcheck hard, medians of %d runs: release %.2f ms, portable %.2f ms, ratio %.2f\n' \
  "$portable_runs" "$(echo "$ordinary_s" | awk '{ print $1 * 1000 }')" "$(echo "$portable_s" | awk '{ print $1 * 1000 }')" \
  "$(echo "$portable_s $ordinary_s" | awk '{ printf "%.2f", $1 / $2 }')"

# Plans over a repository.
repo_sizes=${BENCH_REPO_SIZES:-"500 1000 2000"}
echo
echo "vexinspect repo and plan on generated repositories (chains of depth 6; directories, tar, tar+gzip"
echo "and tar+xz 7:1:1:1); medians of $runs runs; the plan is of the package at the top of a chain"
echo
printf '| %5s | %9s | %9s | %9s | %9s | %9s | %11s | %12s | %8s |\n' \
  N "index s" "warm s" "check s" "plan s" "no-cat s" "collect. s" "plan-coll. s" "plan MiB"
printf '|%s|\n' "-------|-----------|-----------|-----------|-----------|-----------|-------------|--------------|----------"
declare -A index_per_package plan_beyond
for n in $repo_sizes; do
  dir=$work/repo$n
  "$vexbench" repository --out "$dir" -n "$n" --depth 6
  read -r index_s _ _ < <(measure "$runs" "$dir" sh -c "rm -f repository/catalog.json && \"\$0\" repo index repository" "$inspect")
  read -r warm_s _ _ < <(measure "$runs" "$dir" "$inspect" repo index repository)
  read -r check_s _ _ < <(measure "$runs" "$dir" "$inspect" repo check repository)
  read -r plan_s plan_kib _ < <(measure "$runs" "$dir" "$inspect" plan hard --repository repository --package-dir target)
  read -r tree_s _ _ < <(measure "$runs" "$dir" "$inspect" plan hard --repository repository --package-dir target \
    --catalog "$dir/no-catalog.json")
  read -r collect_s _ _ < <(measure "$runs" "$dir" sh baseline.sh)
  beyond=$(echo "$plan_s $collect_s" | awk '{ printf "%.3f", $1 - $2 }')
  plan_mib=$(echo "$plan_kib" | awk '{ printf "%.1f", $1 / 1024 }')
  index_per_package[$n]=$(echo "$index_s $n" | awk '{ printf "%.9f", $1 / $2 }')
  plan_beyond[$n]=$beyond
  printf '| %5s | %9.3f | %9.3f | %9.3f | %9.3f | %9.3f | %11.3f | %12s | %8s |\n' \
    "$n" "$index_s" "$warm_s" "$check_s" "$plan_s" "$tree_s" "$collect_s" "$beyond" "$plan_mib"
  if [ "$n" -eq 2000 ]; then
    echo "  at N=2000: plan beyond its collectors $beyond s (bound 1 s), peak memory $plan_mib MiB (bound 200 MiB)," \
         "warm index $warm_s s (bound 0.5 s)"
    awk -v r="$beyond" 'BEGIN { exit !(r <= 1) }' || { echo "bound: plan beyond its collectors $beyond s > 1 s"; failures=$((failures + 1)); }
    awk -v r="$plan_mib" 'BEGIN { exit !(r <= 200) }' || { echo "bound: plan peak memory $plan_mib MiB > 200"; failures=$((failures + 1)); }
    awk -v r="$warm_s" 'BEGIN { exit !(r <= 0.5) }' || { echo "bound: warm index $warm_s s > 0.5 s"; failures=$((failures + 1)); }
  fi
done
set -- $repo_sizes
first=$1
last=${!#}
if [ "$first" != "$last" ]; then
  growth=$(echo "${index_per_package[$last]} ${index_per_package[$first]}" | awk '{ printf "%.2f", $1 / $2 }')
  scale=$(echo "$last $first" | awk '{ printf "%.2f", $1 / $2 }')
  plan_growth=$(echo "${plan_beyond[$last]} ${plan_beyond[$first]}" | awk '{ printf "%.2f", ($2 > 0) ? $1 / $2 : 0 }')
  echo "index time per package at N=$last / at N=$first: $growth (bound 1.3); plan beyond its collectors grows" \
       "$plan_growth times for $scale times the packages (bound $scale x 1.3)"
  awk -v r="$growth" 'BEGIN { exit !(r <= 1.3) }' || { echo "bound: index time per package grows $growth > 1.3"; failures=$((failures + 1)); }
  awk -v r="$plan_growth" -v s="$scale" 'BEGIN { exit !(r <= s * 1.3) }' || { echo "bound: plan time grows faster than the packages"; failures=$((failures + 1)); }
fi

echo
if [ "$failures" -eq 0 ]; then
  echo "All bounds hold."
else
  echo "$failures bound(s) do not hold."
  exit 1
fi
