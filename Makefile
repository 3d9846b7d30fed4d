# The front door. Everything is built by CMake (see CMakePresets.json); these are the few commands
# that a user or CI needs. Each installs the Debian packages that are missing first.

.DEFAULT_GOAL := help
.PHONY: help deps build demo test baseline sanitize lint format package install clean

help:
	@echo "make demo      build, then show messages travelling through bytes and back"
	@echo "make test      build and run the tests"
	@echo "make baseline  make the schema as it is now the contract that the tests hold it to"
	@echo "make sanitize  run the tests under ASan with UBSan, and under TSan"
	@echo "make lint      check the format and run clang-tidy"
	@echo "make format    format our own C++ code"
	@echo "make package   build the Debian packages into build/release"
	@echo "make install   install to PREFIX (default /usr/local)"
	@echo "make deps      install the Debian packages of packages.txt that are missing"
	@echo "make clean     remove the build folder"

deps:
	@there=$$(dpkg-query -W -f '$${db:Status-Abbrev} $${Package}, $${Provides}\n' | \
	    sed -n 's/^ii *//p' | tr ', ' '\n\n'); \
	missing=$$(for p in $$(sed 's/#.*//' packages.txt); do \
	    echo "$$there" | grep -qxF $$p || echo $$p; \
	  done); \
	if [ -n "$$missing" ]; then \
	  echo "Installing Debian packages:" $$missing; \
	  sudo=$$([ "$$(id -u)" = 0 ] || echo sudo); \
	  $$sudo apt-get update -qq && \
	  DEBIAN_FRONTEND=noninteractive $$sudo apt-get install -y -qq --no-install-recommends $$missing; \
	fi

build: deps
	@cmake --preset release -Wno-dev > /dev/null
	cmake --build --preset release

demo: build
	@examples/demo.sh build/release/bin

test: build
	ctest --preset release

baseline: build
	cmake --build --preset release --target baseline

sanitize: deps
	@for preset in asan tsan; do \
	  echo "== $$preset" && \
	  cmake --preset $$preset -Wno-dev > /dev/null && \
	  cmake --build --preset $$preset && \
	  ctest --preset $$preset || exit 1; \
	done

OWN_CODE = git ls-files -- '*.cc' '*.h'

# Programs that the tests build by themselves, so clang-tidy does not know how they are compiled.
OWN_PROJECTS = ^tests/package/\(consumer\|extension\)/

lint: build
	$(OWN_CODE) | xargs clang-format --dry-run --Werror
	$(OWN_CODE) -- '*.cc' | grep '\.cc$$' | grep -v '$(OWN_PROJECTS)' | xargs -P "$$(nproc)" -n 4 clang-tidy --quiet -p build/release

format: deps
	$(OWN_CODE) | xargs clang-format -i

package: build
	cmake --build --preset release --target packages
	cmake --build --preset release --target package

install: build
	cmake --install build/release --prefix $(or $(PREFIX),/usr/local)

clean:
	rm -rf build
