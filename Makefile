# Top-level entry points. See README.md.
#   make deps   install the Debian packages the project needs (only the missing ones)
#   make build  configure and build into build/
#   make test   deps + build + every test, then the whole suite again under the sanitizers
#   make demo   deps + build, then runs the checker on a copy of examples/package
#   make bench  release build, synthetic packages, the checker against its baseline
#   make package  the Debian binary package (release build in build-package/), checked by lintian

JOBS        ?= 2
BUILD_TYPE  ?= RelWithDebInfo
BUILD_DIR   ?= build
PACKAGE_DIR ?= build-package
ASAN_DIR    ?= build-asan
CMAKE_FLAGS ?=

DEB_PACKAGES := cmake g++ make pkg-config libxml2-dev libgtest-dev valgrind libxml2-utils \
                libcli11-dev nlohmann-json3-dev dmidecode dpkg-dev file man-db lintian

SUDO := $(shell [ "$$(id -u)" -eq 0 ] || echo sudo)

# Sanitizer settings for the second test run: any report fails the run.
SANITIZER_ENV := ASAN_OPTIONS=detect_leaks=1:abort_on_error=0:halt_on_error=1:exitcode=86 \
                 LSAN_OPTIONS=exitcode=87 \
                 UBSAN_OPTIONS=halt_on_error=1:print_stacktrace=1:exitcode=88

.PHONY: all deps build test test-asan demo bench package clean

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

clean:
	rm -rf $(BUILD_DIR) $(ASAN_DIR) $(PACKAGE_DIR) build-release
