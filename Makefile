# The two commands a person needs: `make demo` and `make test`.
JOBS ?= $(shell nproc 2>/dev/null || echo 2)

.PHONY: deps demo test bench build-test build-release clean

deps:
	@scripts/install-deps

build-release: deps
	@cmake --preset release >/dev/null
	@cmake --build --preset release -j $(JOBS) --target kestrin

demo: build-release
	@build/release/bin/kestrin demo
	@printf '\nThe health report of these weeks, to open in a browser: '
	@build/release/bin/kestrin report --simulate office-worker --out build/kestrin-report.html

build-test:
	@scripts/install-deps --tests
	@cmake --preset test >/dev/null
	@cmake --build --preset test -j $(JOBS)

test: build-test
	@ctest --preset test

bench: deps
	@cmake --preset bench >/dev/null
	@cmake --build --preset bench -j $(JOBS) --target kestrin_bench
	@build/bench/bin/kestrin_bench

clean:
	rm -rf build
