# The front door. Everything is built by CMake (see CMakePresets.json); these are the few commands
# that a user or CI needs. Each first installs the Debian packages that are missing, by the lists in
# dependencies/; DEPS=skip leaves that out.

.DEFAULT_GOAL := help
.PHONY: help deps build demo test baseline sanitize fuzz soak lint format profile optimized bench package install site clean

export DEPS
SHELL = /bin/bash -o pipefail
need = @dependencies/install.sh
configure = cmake -Wno-dev --preset $(1) > /dev/null
installed = $(if $(OPTIMIZED),optimized,release)
# One line a test.
run_tests = ctest --preset $(1) | grep --line-buffered -v '^ *Start '

help:
	@echo "make demo      build the libraries, cmnsys and the examples, and show messages travelling"
	@echo "make test      build everything and run the tests"
	@echo "make build     build everything"
	@echo "make baseline  make the schema as it is now the contract that the tests hold it to"
	@echo "make sanitize  run the tests under ASan with UBSan, and those with threads under TSan"
	@echo "make fuzz      run all fuzz targets as CI does, 20 seconds each; TARGET=wire SECONDS=60 for one longer"
	@echo "make soak      run a server and its clients for ten minutes; SECONDS=3600 for longer"
	@echo "make lint      check the format and run clang-tidy"
	@echo "make format    format our own C++ code"
	@echo "make optimized build everything by a profile of its use, into build/optimized"
	@echo "make bench     time the libraries against what stands beside them (docs/performance.md)"
	@echo "make package   build the Debian packages, the Python wheel and the npm package, all of the optimized build"
	@echo "make install   install to PREFIX (default /usr/local); with OPTIMIZED=1 the optimized build"
	@echo "make site      build the web reference into build/release/site/html"
	@echo "make deps      install all Debian packages that any of these needs"
	@echo "make clean     remove the build folder"
	@echo "With DEPS=skip no packages are installed: make test DEPS=skip"

deps:
	$(need) $(basename $(notdir $(wildcard dependencies/*.txt)))

build:
	$(need) build test
	@$(call configure,release)
	cmake --build --preset release

demo:
	$(need) build
	@$(call configure,release)
	@echo "Building what the demonstration shows; without a warm ccache about 4 minutes on two cores"
	cmake --build --preset release --target demo_programs
	@examples/demo.sh build/release/bin

test: build
	$(call run_tests,release)

baseline:
	$(need) build
	@$(call configure,release)
	cmake --build --preset release --target baseline

sanitize:
	$(need) build test
	@for preset in asan tsan; do \
	  echo "== $$preset" && \
	  $(call configure,$$preset) && \
	  cmake --build --preset $$preset && \
	  $(call run_tests,$$preset) || exit 1; \
	done

fuzz:
	$(need) build fuzz
	@$(call configure,fuzz)
	cmake --build --preset fuzz
	@fuzz/run.py $(if $(SECONDS),--seconds $(SECONDS)) $(TARGET)

soak:
	$(need) build test
	@$(call configure,release)
	cmake --build --preset release --target soak_test
	CMNSYS_SOAK_SECONDS=$(or $(SECONDS),600) build/release/tests/soak/soak_test

lint:
	$(need) build test lint
	@$(call configure,lint)
	@cmake --build --preset lint
	@tools/lint.sh build/lint

format:
	$(need) lint
	git ls-files -- '*.cc' '*.h' | xargs clang-format -i

# Configures build/optimized with the profiles of a training run.
profile:
	$(need) build test
	@$(call configure,training)
	cmake --build --preset training
	@$(call configure,optimized)

optimized: profile
	cmake --build --preset optimized

bench: profile
	$(need) bench
	cmake --build --preset optimized --target cmnsys
	@$(call configure,bench)
	cmake --build --preset bench --target cmnsys benchmark_programs
	bench/run.py
	bench/report.py

# What is built ends up in build/optimized/debian. The npm package is the last, because its build needs
# the npm registry.
package: profile
	$(need) build package python typescript wireshark
	@$(call configure,optimized)
	rm -f build/optimized/debian/*.{deb,buildinfo,changes,whl,tgz}
	cmake --build --preset optimized --target debian_packages
	cp build/optimized/packages/python/dist/*.whl build/optimized/debian
	cmake --build --preset optimized --target typescript_package
	cp build/optimized/packages/typescript/*.tgz build/optimized/debian

install: $(if $(OPTIMIZED),profile)
	$(need) build
	@$(call configure,$(installed))
	cmake --build --preset $(installed)
	cmake --install build/$(installed) --prefix $(or $(PREFIX),/usr/local)

site:
	$(need) build site
	@$(call configure,release)
	cmake --build --preset release --target site
	@echo "Open build/release/site/html/index.html"

clean:
	rm -rf build
