# Top-level entry points. See README.md.
#   make deps   install the Debian packages the project needs (only the missing ones)
#   make build  configure and build into build/
#   make test   deps + build + every test, then the whole suite again under the sanitizers,
#               then a short deterministic run of every fuzz target
#   make demo   deps + build, then runs the checker on a copy of examples/package
#   make bench  release build, synthetic packages, the checker against its baseline
#   make package  the Debian binary package (release build in build-package/), checked by lintian
#   make fuzz   builds the fuzz targets and runs each for FUZZ_SECONDS (default 60)
#   make fleet-bench  the Ansible preflight against FLEET_HOSTS (100) local sshd hosts
#   make fleet-sanity ansible-test sanity and ansible-lint on the vexdep.fleet collection

JOBS        ?= 2
BUILD_TYPE  ?= RelWithDebInfo
BUILD_DIR   ?= build
PACKAGE_DIR ?= build-package
ASAN_DIR    ?= build-asan
FUZZ_DIR    ?= build-fuzz
FUZZ_SECONDS ?= 60
FLEET_HOSTS ?= 100
FLEET_FORKS ?= 25
CMAKE_FLAGS ?=

# clang and its libFuzzer runtime build the fuzz targets; strace lets the
# bad-package tests see every file the checker opens; dpkg-dev, file,
# man-db and lintian build and check the Debian package. ansible-core, the
# OpenSSH server and client and pytest run the vexdep.fleet collection's tests
# (every managed host is an sshd of its own on a loopback port); ansible-lint
# checks its role and playbook; chromium (headless) takes the report's screenshot.
DEB_PACKAGES := cmake g++ make pkg-config libxml2-dev libgtest-dev valgrind libxml2-utils \
                libcli11-dev nlohmann-json3-dev dmidecode dpkg-dev file man-db lintian \
                clang libclang-rt-14-dev strace python3-jsonschema \
                ansible-core openssh-server openssh-client python3-pytest ansible-lint chromium

FUZZ_TARGETS := PackageReaderFuzzer InventoryDocumentFuzzer PluginConfigFuzzer SmbiosFuzzer \
                CompareVersionsFuzzer EvaluationFuzzer

SUDO := $(shell [ "$$(id -u)" -eq 0 ] || echo sudo)

# Sanitizer settings for the second test run: any report fails the run.
SANITIZER_ENV := ASAN_OPTIONS=detect_leaks=1:abort_on_error=0:halt_on_error=1:exitcode=86 \
                 LSAN_OPTIONS=exitcode=87 \
                 UBSAN_OPTIONS=halt_on_error=1:print_stacktrace=1:exitcode=88

.PHONY: all deps build test test-asan demo bench package clean fuzz-build fuzz fuzz-smoke fuzz-seeds \
        fleet-bench fleet-sanity

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

test: deps build
	ctest --test-dir $(BUILD_DIR) --output-on-failure -j$(JOBS)
	$(MAKE) --no-print-directory test-asan
	$(MAKE) --no-print-directory fuzz-smoke

test-asan:
	cmake -S . -B $(ASAN_DIR) -DCMAKE_BUILD_TYPE=Debug -DVEXDEP_SANITIZE=ON $(CMAKE_FLAGS)
	cmake --build $(ASAN_DIR) -j$(JOBS)
	$(SANITIZER_ENV) ctest --test-dir $(ASAN_DIR) --output-on-failure -j$(JOBS)

demo: deps build
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
	lintian --fail-on error --tag-display-limit 0 $(PACKAGE_DIR)/vexdepcheck_*.deb

# The fuzz targets: clang, libFuzzer, AddressSanitizer and
# UndefinedBehaviorSanitizer, in a build folder of their own.
fuzz-build:
	cmake -S . -B $(FUZZ_DIR) -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_BUILD_TYPE=RelWithDebInfo \
	      -DVEXDEP_FUZZ=ON -DVEXDEP_BUILD_TESTS=OFF $(CMAKE_FLAGS)
	cmake --build $(FUZZ_DIR) -j$(JOBS)

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

# A fixed seed and a fixed number of runs per target over its seed corpus
# (registered as tests of the fuzz build).
fuzz-smoke: deps fuzz-build
	ctest --test-dir $(FUZZ_DIR) --output-on-failure -j$(JOBS)

# Writes the seed corpora in fuzz/corpus anew from the test fixtures.
fuzz-seeds: build
	$(BUILD_DIR)/bin/vexfuzzseeds fuzz/corpus

# The preflight playbook against FLEET_HOSTS managed hosts (one sshd each, in
# a private mount namespace; needs root) with FLEET_FORKS forks: prints wall
# time, hosts per minute and the controller's peak memory.
fleet-bench: deps
	cmake -S . -B $(BUILD_DIR) -DCMAKE_BUILD_TYPE=$(BUILD_TYPE) $(CMAKE_FLAGS)
	cmake --build $(BUILD_DIR) -j$(JOBS) --target vexinspect vexdepcheck vexfleettables
	/usr/bin/python3 ansible/tests/fleet/bench.py $(BUILD_DIR)/bin/vexinspect $(BUILD_DIR)/bin/vexfleettables \
	  --hosts $(FLEET_HOSTS) --forks $(FLEET_FORKS)

# ansible-test sanity (the tests Debian's packages provide the requirements
# for) and ansible-lint on the collection; ansible-test wants the collection
# below a path ending in ansible_collections/vexdep/fleet.
fleet-sanity: deps
	ansible/tests/sanity.sh

clean:
	rm -rf $(BUILD_DIR) $(ASAN_DIR) $(FUZZ_DIR) $(PACKAGE_DIR) build-release
