# Front door: `make demo` serves the map of the demo island (open the address it prints), `make test` runs every test in
# the release and the sanitizer builds, `make fuzz` runs each fuzzing harness for FUZZ_SECONDS. All install
# missing Debian packages first.
JOBS ?= 2
FUZZ_SECONDS ?= 60

.PHONY: deps demo tour test release sanitize fuzz bench bench-report clean

deps:
	@tools/install-deps

release: deps
	cmake --preset release >/dev/null
	cmake --build --preset release -j $(JOBS)

sanitize: deps
	cmake --preset sanitize >/dev/null
	cmake --build --preset sanitize -j $(JOBS)

demo: release
	build/release/bin/pathwright map --demo

tour: release
	build/release/bin/pathwright tour --demo

test: release sanitize
	ctest --preset release
	ctest --preset sanitize

fuzz: deps
	cmake --preset fuzz >/dev/null
	cmake --build --preset fuzz -j $(JOBS)
	tools/run-fuzzers build/fuzz $(FUZZ_SECONDS)

bench: release
	tools/run-benchmarks build/release

# Runs every benchmark and writes docs/benchmarks.md, the one place for figures.
bench-report: release
	tools/bench-report build/release

clean:
	rm -rf build
