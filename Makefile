# Top-level entry points. See README.md.
#   make deps   install the Debian packages the project needs (only the missing ones)
#   make build  configure and build into build/
#   make test   deps + build + the portable checker + every test, then clang-tidy over the
#               product sources (make lint), then the whole suite again under the sanitizers,
#               then a short deterministic run of every fuzz target and a replay of its corpus;
#               ends with one line that counts the tests of all four phases
#   make lint   clang-tidy (the checks in .clang-tidy) over every product source, a test per
#               file, in build-lint/ (configured only, never built)
#   make portable  build-portable/bin/vexdepcheck: one static executable (libxml2 from
#               Debian's source package)
#   make demo   deps + the checker alone (build log in build/demo-build.log), then runs it
#               on a copy of examples/package
#   make bench  release build, synthetic packages, the checker against its baseline
#   make package  the Debian binary package (release build in build-package/), checked by lintian
#   make fuzz   builds the fuzz targets and runs each for FUZZ_SECONDS (default 60)
#   make fuzz-regress  replays every file of fuzz/corpus once under the sanitizers
#   make fleet-bench  the Ansible preflight against FLEET_HOSTS (100) local sshd hosts
#   make fleet-sanity ansible-test sanity and ansible-lint on the vexdep.fleet collection
#   make report-bench the fleet report of a synthetic fleet of REPORT_HOSTS (10000) hosts, every format

JOBS        ?= 2
BUILD_TYPE  ?= RelWithDebInfo
BUILD_DIR   ?= build
PORTABLE_DIR ?= build-portable
# The portable checker's size bound in bytes (stripped).
PORTABLE_MAX_BYTES ?= 3000000
PACKAGE_DIR ?= build-package
ASAN_DIR    ?= build-asan
LINT_DIR    ?= build-lint
FUZZ_DIR    ?= build-fuzz
FUZZ_SECONDS ?= 60
FLEET_HOSTS ?= 100
FLEET_FORKS ?= 25
# The packages of the repository that make fleet-bench plans over (0: no planning).
FLEET_REPOSITORY_PACKAGES ?= 200
FLEET_BENCH_OPTIONS ?=
REPORT_HOSTS ?= 10000
CMAKE_FLAGS ?=

# clang and its libFuzzer runtime build the fuzz targets; strace lets the
# bad-package tests see every file the checker opens; dpkg-dev, file,
# man-db and lintian build and check the Debian package; python3-jsonschema
# validates the tools' JSON output against its schemas; dpkg-dev (apt-get
# source) with the static archives of zlib1g-dev and liblzma-dev build the
# portable checker, which busybox-static tests in a chroot; gzip and xz-utils
# compress the documents the tests read compressed. ansible-core, the OpenSSH
# server and client and pytest run the vexdep.fleet collection's tests (every
# managed host is an sshd of its own on a loopback port); ansible-lint checks
# its role and playbook; chromium (headless) renders the fleet report;
# ansible-mitogen, a connection strategy the preflight can run over (never
# needed), is installed so that its test runs; clang-tidy runs make lint.
DEB_PACKAGES := cmake g++ make pkg-config libxml2-dev libgtest-dev valgrind libxml2-utils \
                libcli11-dev nlohmann-json3-dev dmidecode dpkg-dev file man-db lintian \
                clang libclang-rt-14-dev strace python3-jsonschema zlib1g-dev liblzma-dev \
                busybox-static gzip xz-utils procps \
                ansible-core openssh-server openssh-client python3-pytest ansible-lint chromium \
                ansible-mitogen clang-tidy

FUZZ_TARGETS := PackageReaderFuzzer InventoryDocumentFuzzer PluginConfigFuzzer SmbiosFuzzer \
                CompareVersionsFuzzer EvaluationFuzzer RepositoryReaderFuzzer

# When make started: make test tells how long the builds before its phases took.
MAKE_STARTED := $(shell date +%s)
SUDO := $(shell [ "$$(id -u)" -eq 0 ] || echo sudo)
# The test phases run in pipelines whose status must be that of the phase.
SHELL := /bin/bash

# Sanitizer settings for the second test run: any report fails the run.
SANITIZER_ENV := ASAN_OPTIONS=detect_leaks=1:abort_on_error=0:halt_on_error=1:exitcode=86 \
                 LSAN_OPTIONS=exitcode=87 \
                 UBSAN_OPTIONS=halt_on_error=1:print_stacktrace=1:exitcode=88

.PHONY: all deps build test test-asan lint demo bench package clean fuzz-build fuzz fuzz-smoke fuzz-regress fuzz-seeds \
        portable fleet-bench fleet-sanity report-bench

all: build

deps:
	@missing=""; \
	for p in $(DEB_PACKAGES); do \
	  dpkg-query -W -f='$${Status}' "$$p" 2>/dev/null | grep -q 'install ok installed' || missing="$$missing $$p"; \
	done; \
	if [ -n "$$missing" ]; then \
	  echo "Installing missing packages:$$missing"; \
	  $(SUDO) apt-get update -qq && \
	  DEBIAN_FRONTEND=noninteractive $(SUDO) apt-get install -y -qq --no-install-recommends $$missing; \
	fi

build:
	cmake -S . -B $(BUILD_DIR) -DCMAKE_BUILD_TYPE=$(BUILD_TYPE) $(CMAKE_FLAGS)
	cmake --build $(BUILD_DIR) -j$(JOBS)

# Every phase runs even when an earlier one failed; the last line counts
# the tests of all of them, and the status is that of the worst.
test: deps build portable
	@logs=$(BUILD_DIR)/test-logs; mkdir -p $$logs; status=0; set -o pipefail; \
	times="build $$(( $$(date +%s) - $(MAKE_STARTED) )) s"; \
	phase() { local name=$$1 start=$$SECONDS; shift; \
	  "$$@" 2>&1 | tee $$logs/$$name.log || status=1; times="$$times, $$name $$((SECONDS - start)) s"; }; \
	phase main ctest --test-dir $(BUILD_DIR) --output-on-failure -j$(JOBS); \
	phase lint $(MAKE) --no-print-directory lint; \
	phase sanitizers $(MAKE) --no-print-directory test-asan; \
	phase fuzz-smoke $(MAKE) --no-print-directory fuzz-smoke; \
	echo; tests/count-tests.sh main=$$logs/main.log lint=$$logs/lint.log sanitizers=$$logs/sanitizers.log \
	  fuzz-smoke=$$logs/fuzz-smoke.log; \
	echo "wall time: $$times"; \
	exit $$status

# One static executable for every server: no dynamic dependency, at most
# PORTABLE_MAX_BYTES bytes.
portable: deps
	cmake -S . -B $(PORTABLE_DIR) -DCMAKE_BUILD_TYPE=Release -DVEXDEP_PORTABLE=ON -DVEXDEP_BUILD_TESTS=OFF \
	      $(CMAKE_FLAGS) > /dev/null
	cmake --build $(PORTABLE_DIR) -j$(JOBS) --target vexdepcheck 2>&1 | grep -v "statically linked applications requires" \
	  | grep -v "in function .CLinuxImpl::" || true
	@exe=$(PORTABLE_DIR)/bin/vexdepcheck; test -x $$exe || { echo "make portable: $$exe was not built"; exit 1; }; \
	size=$$(stat -c %s $$exe); \
	if ldd $$exe > /dev/null 2>&1; then echo "make portable: $$exe is a dynamic executable"; exit 1; fi; \
	if [ $$size -gt $(PORTABLE_MAX_BYTES) ]; then \
	  echo "make portable: $$exe is $$size bytes, more than $(PORTABLE_MAX_BYTES)"; exit 1; fi; \
	echo "$$exe: $$size bytes, statically linked"

test-asan:
	cmake -S . -B $(ASAN_DIR) -DCMAKE_BUILD_TYPE=Debug -DVEXDEP_SANITIZE=ON $(CMAKE_FLAGS)
	cmake --build $(ASAN_DIR) -j$(JOBS)
	$(SANITIZER_ENV) ctest --test-dir $(ASAN_DIR) --output-on-failure -j$(JOBS)

# clang-tidy over every product source, one test per file (a finding fails
# it): the folder is configured, which writes compile_commands.json, and
# never built.
lint: deps
	cmake -S . -B $(LINT_DIR) -DCMAKE_BUILD_TYPE=$(BUILD_TYPE) -DVEXDEP_BUILD_TESTS=OFF -DVEXDEP_LINT=ON \
	      $(CMAKE_FLAGS) > /dev/null
	ctest --test-dir $(LINT_DIR) --output-on-failure -j$(JOBS)

# Only the checker is built, quietly; the build's output goes to a log that
# is named when the build fails.
demo: deps
	@mkdir -p $(BUILD_DIR); log=$(BUILD_DIR)/demo-build.log; \
	echo "Building vexdepcheck (log: $$log) ..."; \
	if ! { cmake -S . -B $(BUILD_DIR) -DCMAKE_BUILD_TYPE=$(BUILD_TYPE) $(CMAKE_FLAGS) && \
	       cmake --build $(BUILD_DIR) -j$(JOBS) --target vexdepcheck; } > $$log 2>&1; then \
	  tail -n 20 $$log; echo "make demo: the build failed; the whole log is $$log"; exit 1; fi
	@dir=$$(mktemp -d "$${TMPDIR:-/tmp}/vexdep-demo-XXXXXX") && \
	cp -R examples/package/. "$$dir" && cd "$$dir" && \
	echo "Sample package copied to $$dir" && \
	for type in hard soft; do \
	  echo; echo "\$$ vexdepcheck $$type"; \
	  "$(CURDIR)/$(BUILD_DIR)/bin/vexdepcheck" $$type; \
	  echo "[exit status $$?]"; \
	done; \
	cd / && rm -rf "$$dir"

bench: deps
	bench/run-bench.sh

package: deps
	cmake -S . -B $(PACKAGE_DIR) -DCMAKE_BUILD_TYPE=Release -DVEXDEP_BUILD_TESTS=OFF $(CMAKE_FLAGS)
	cmake --build $(PACKAGE_DIR) -j$(JOBS)
	cd $(PACKAGE_DIR) && cpack -G DEB
	lintian --fail-on error,warning --tag-display-limit 0 $(PACKAGE_DIR)/vexdepcheck_*.deb

# The fuzz targets: clang, libFuzzer, AddressSanitizer and
# UndefinedBehaviorSanitizer, in a build folder of their own.
fuzz-build:
	cmake -S . -B $(FUZZ_DIR) -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_BUILD_TYPE=RelWithDebInfo \
	      -DVEXDEP_FUZZ=ON -DVEXDEP_BUILD_TESTS=OFF $(CMAKE_FLAGS)
	cmake --build $(FUZZ_DIR) -j$(JOBS) --target $(FUZZ_TARGETS)

# Every target for FUZZ_SECONDS in turn. New inputs collect in
# $(FUZZ_DIR)/corpus/<target>, the full output in $(FUZZ_DIR)/logs, and any
# crash, leak, timeout or out-of-memory input in $(FUZZ_DIR)/artifacts.
fuzz: deps fuzz-build
	@mkdir -p $(FUZZ_DIR)/artifacts $(FUZZ_DIR)/logs; failed=""; \
	for t in $(FUZZ_TARGETS); do \
	  mkdir -p $(FUZZ_DIR)/corpus/$$t; \
	  echo "== $$t: $(FUZZ_SECONDS) s"; \
	  if $(FUZZ_DIR)/bin/$$t -max_total_time=$(FUZZ_SECONDS) -timeout=10 -rss_limit_mb=2048 \
	       -print_final_stats=1 -dict=fuzz/dict/$$t.dict \
	       -artifact_prefix=$(CURDIR)/$(FUZZ_DIR)/artifacts/$$t- \
	       $(FUZZ_DIR)/corpus/$$t fuzz/corpus/$$t > $(FUZZ_DIR)/logs/$$t.log 2>&1; \
	  then :; else failed="$$failed $$t"; fi; \
	  grep -E '^#[0-9]+ +DONE|^stat::number_of_executed_units|^==[0-9]+==ERROR|^SUMMARY|Test unit written' \
	    $(FUZZ_DIR)/logs/$$t.log; \
	done; \
	if [ -n "$$failed" ]; then \
	  echo "fuzzing found problems in:$$failed (see $(FUZZ_DIR)/logs and $(FUZZ_DIR)/artifacts)"; exit 1; \
	fi

# A fixed seed and a fixed number of runs per target over its seed corpus,
# and the replay of every corpus file (all registered as tests of the fuzz
# build, so that make test counts them).
fuzz-smoke: deps fuzz-build
	ctest --test-dir $(FUZZ_DIR) --output-on-failure -j$(JOBS)

# Every file of fuzz/corpus/<target> once, under AddressSanitizer and
# UndefinedBehaviorSanitizer: no mutation, no new input.
fuzz-regress: deps fuzz-build
	ctest --test-dir $(FUZZ_DIR) --output-on-failure -j$(JOBS) -R '^FuzzRegress\.'

# Writes the seed corpora in fuzz/corpus anew from the test fixtures.
fuzz-seeds: build
	$(BUILD_DIR)/bin/vexfuzzseeds fuzz/corpus

# The preflight playbook against FLEET_HOSTS managed hosts (one sshd each, in
# a private mount namespace; needs root) with FLEET_FORKS forks: prints wall
# time, hosts per minute, the controller's peak memory and where the time
# went; with FLEET_REPOSITORY_PACKAGES (200) it plans over a repository of
# that many packages and prints the per-host cost of the plan beyond the
# check. FLEET_BENCH_OPTIONS=--mitogen runs it over ansible-mitogen. Then the
# report of a synthetic fleet of REPORT_HOSTS hosts (with plans when the run
# planned), every format, against its bounds (5 s, 500 MiB).
fleet-bench: deps
	cmake -S . -B $(BUILD_DIR) -DCMAKE_BUILD_TYPE=$(BUILD_TYPE) $(CMAKE_FLAGS)
	cmake --build $(BUILD_DIR) -j$(JOBS) --target vexinspect vexdepcheck vexfleettables
	/usr/bin/python3 ansible/tests/fleet/bench.py $(BUILD_DIR)/bin/vexinspect $(BUILD_DIR)/bin/vexfleettables \
	  --hosts $(FLEET_HOSTS) --forks $(FLEET_FORKS) --repository-packages $(FLEET_REPOSITORY_PACKAGES) \
	  $(FLEET_BENCH_OPTIONS)
	/usr/bin/python3 ansible/tests/fleet/report_bench.py --hosts $(REPORT_HOSTS) \
	  $(if $(filter 0,$(FLEET_REPOSITORY_PACKAGES)),,--plans)

# The fleet report of a synthetic fleet of REPORT_HOSTS hosts with an earlier
# run to compare with: prints the renderer's wall and processor time, its peak
# memory and the files' sizes, and fails beyond 5 s or 500 MiB.
report-bench:
	/usr/bin/python3 ansible/tests/fleet/report_bench.py --hosts $(REPORT_HOSTS)
	/usr/bin/python3 ansible/tests/fleet/report_bench.py --hosts $(REPORT_HOSTS) --plans

# ansible-test sanity (the tests Debian's packages provide the requirements
# for) and ansible-lint on the collection; ansible-test wants the collection
# below a path ending in ansible_collections/vexdep/fleet.
fleet-sanity: deps
	ansible/tests/sanity.sh

clean:
	rm -rf $(BUILD_DIR) $(ASAN_DIR) $(LINT_DIR) $(FUZZ_DIR) $(PACKAGE_DIR) build-release
