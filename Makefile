# Front door: `make demo` runs the guided tour on the built-in defaults, `make test` runs every test in
# the release and the sanitizer builds. Both install missing Debian packages first.
JOBS ?= 2

.PHONY: deps demo test release sanitize bench clean

deps:
	@tools/install-deps

release: deps
	cmake --preset release >/dev/null
	cmake --build --preset release -j $(JOBS)

sanitize: deps
	cmake --preset sanitize >/dev/null
	cmake --build --preset sanitize -j $(JOBS)

demo: release
	build/release/bin/pathwright tour --demo

test: release sanitize
	ctest --preset release
	ctest --preset sanitize

bench: release
	tools/run-benchmarks build/release

clean:
	rm -rf build
