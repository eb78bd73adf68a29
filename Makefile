# The entry points a newcomer needs. Each installs what it needs first.
.PHONY: setup build test test-unit fuzz-smoke consumer package package-check demo demo-ui bench fuzz asan tsan lint clean

FUZZ_SECONDS ?= 60
FUZZ_SMOKE_SECONDS ?= 5

setup:
	@scripts/setup.sh

build: setup
	cmake --preset default >/dev/null
	cmake --build --preset default

# Every test of the default build, each fuzzer for a few seconds, and a
# consumer project built against the installed package and as a subdirectory.
test: test-unit fuzz-smoke consumer

test-unit: build
	ctest --preset default

consumer: build
	scripts/check-consumer.sh build/default

fuzz-smoke: setup
	cmake --preset fuzz >/dev/null
	cmake --build --preset fuzz
	scripts/run-fuzzers.sh build/fuzz $(FUZZ_SMOKE_SECONDS)

# Only the launcher, the sample main application and the demo driver: a
# newcomer's first command should not wait for the test suites to compile.
demo: setup
	cmake --preset default >/dev/null
	cmake --build --preset default --target vantor-demo
	build/default/VantorLauncher/vantor-demo

# Plinth's Qt user interface under Xvfb, with a session bus and a stand-in
# desktop of its own: a status item with a menu of host views, a switch to
# dark, a confirmation; screenshots go to build/default/screenshots-demo.
demo-ui: setup
	cmake --preset default >/dev/null
	cmake --build --preset default --target vantor-ui-demo
	xvfb-run -a -s "-screen 0 1024x768x24" build/default/Plinth/vantor-ui-demo build/default/screenshots-demo

bench: setup
	cmake --preset release >/dev/null
	cmake --build --preset release
	scripts/run-benchmarks.sh build/release

# Debian packages of the libraries, the tools and the launcher; the check
# runs lintian and builds a consumer from them (scripts/check-packages.sh).
package: setup
	cmake --preset package >/dev/null
	cmake --build --preset package
	rm -rf build/package/packages
	cd build/package && cpack -B packages >/dev/null
	@ls build/package/packages/*.deb

package-check: package
	scripts/check-packages.sh build/package/packages

fuzz: setup
	cmake --preset fuzz >/dev/null
	cmake --build --preset fuzz
	scripts/run-fuzzers.sh build/fuzz $(FUZZ_SECONDS)

asan: setup
	cmake --preset asan >/dev/null
	cmake --build --preset asan
	ctest --preset asan

tsan: setup
	cmake --preset tsan >/dev/null
	cmake --build --preset tsan
	ctest --preset tsan

# The include order of the folders, then clang-tidy's bugprone, modernize and
# naming checks over every source.
lint: build
	scripts/lint.sh build/default

clean:
	rm -rf build
